#include "platform/linux/catalog/file_spec.h"

#include <cstring>
#include <string>
#include <vector>

#include "platform/linux/catalog/catalog.h"

namespace tessary {
namespace {

// A specification holds this mark and the index of an entry of the table, counted from 1.
constexpr uint32_t kMark = 0x46537063;  // 'FSpc'

struct SpecContents {
  uint32_t mark = kMark;
  uint32_t number = 0;
};

// Entries are never removed: a specification has no lifetime that the table could follow. Only
// dropped items and the destination get one, so there are few.
struct Token {
  std::string path;
  FSRef ref;  // for its identity only; the folders that it depends on may have been released
};

std::vector<Token>& Tokens() {
  static std::vector<Token> tokens;
  return tokens;
}

// Returns the token of an object. The same object at the same path always gets the same one, so
// that equal specifications mean equal objects.
uint32_t TokenNumber(const FSRef& ref) {
  std::vector<Token>& tokens = Tokens();
  const std::string path = Catalog::Get().PathOf(ReferenceOf(ref));
  for (size_t i = 0; i < tokens.size(); ++i) {
    if (tokens[i].path == path && FSCompareFSRefs(tokens[i].ref, ref) == noErr) {
      return static_cast<uint32_t>(i + 1);
    }
  }
  tokens.push_back({path, ref});
  return static_cast<uint32_t>(tokens.size());
}

}  // namespace

FSSpec MakeFileSpec(const FSRef& ref) {
  const SpecContents contents = {.mark = kMark, .number = TokenNumber(ref)};
  FSSpec spec;
  std::memcpy(spec.hidden, &contents, sizeof(contents));
  return spec;
}

Status FSpMakeFSRef(const FSSpec& spec, FSRef* ref) {
  if (ref == nullptr) return paramErr;
  *ref = FSRef{};
  SpecContents contents;
  std::memcpy(&contents, spec.hidden, sizeof(contents));
  if (contents.mark != kMark || contents.number == 0 || contents.number > Tokens().size()) {
    return paramErr;
  }
  const Token& token = Tokens()[contents.number - 1];
  FSRef found;
  const Status status = FSPathMakeRef(token.path.c_str(), &found);
  if (status != noErr) return status;
  if (FSCompareFSRefs(found, token.ref) != noErr) return fnfErr;
  *ref = found;
  return noErr;
}

}  // namespace tessary
