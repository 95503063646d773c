#include "programs/cli/thunar_actions.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace tessary {
namespace {

constexpr std::string_view kRootName = "actions";
constexpr std::string_view kActionID = "org.tessary.Tessary-aggregate";

constexpr std::string_view kEmptyDocument = R"(<?xml version="1.0" encoding="UTF-8"?>
<actions>
</actions>
)";

// Ends in a newline, which is removed with it. Thunar shows the name and the description in its
// user's language; those without a language are the fallback.
constexpr std::string_view kAction = R"(<action>
	<icon>org.tessary.Tessary</icon>
	<name>Aggregate with Tessary…</name>
	<name xml:lang="de">Mit Tessary zusammenstellen…</name>
	<name xml:lang="es">Agrupar con Tessary…</name>
	<name xml:lang="fr">Regrouper avec Tessary…</name>
	<name xml:lang="ja">Tessaryで集約…</name>
	<unique-id>org.tessary.Tessary-aggregate</unique-id>
	<command>tessary --aggregate %U</command>
	<description>Sort the contents of the folder into subfolders</description>
	<description xml:lang="de">Den Inhalt des Ordners in Unterordner einsortieren</description>
	<description xml:lang="es">Clasificar el contenido de la carpeta en subcarpetas</description>
	<description xml:lang="fr">Classer le contenu du dossier dans des sous-dossiers</description>
	<description xml:lang="ja">フォルダーの中身をサブフォルダーに整理します</description>
	<patterns>*</patterns>
	<directories/>
</action>
)";

std::string_view TrimWhitespace(std::string_view text) {
  constexpr std::string_view kWhitespace = " \t\r\n";
  const size_t begin = text.find_first_not_of(kWhitespace);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhitespace) - begin + 1);
}

// An element of a document, with positions in bytes.
struct Element {
  std::string_view name = {};
  size_t begin = 0;         // of its start tag
  size_t contentBegin = 0;  // after its start tag
  size_t contentEnd = 0;    // of its end tag; `end` if it has none
  size_t end = 0;           // after its last tag
};

// What the parser's handlers have found in a document.
struct Actions {
  std::string_view document;
  XML_Parser parser = nullptr;    // for the handlers only
  size_t depth = 0;               // of the open elements
  std::array<Element, 3> path{};  // the last elements of depth 0 to 2; the root element comes first
  bool isOurs = false;            // path[1] contains our id
  std::vector<Element> ours{};    // the actions with our id, in their order
};

size_t TagBegin(XML_Parser parser) { return static_cast<size_t>(XML_GetCurrentByteIndex(parser)); }

size_t TagEnd(XML_Parser parser) {
  return TagBegin(parser) + static_cast<size_t>(XML_GetCurrentByteCount(parser));
}

bool IsOurId(const Actions& actions) {
  const Element& id = actions.path[2];
  if (actions.path[1].name != "action" || id.name != "unique-id") return false;
  return TrimWhitespace(actions.document.substr(id.contentBegin,
                                                id.contentEnd - id.contentBegin)) == kActionID;
}

void HandleStartTag(void* data, const XML_Char* name, const XML_Char** /*attributes*/) {
  Actions& actions = *static_cast<Actions*>(data);
  const size_t depth = actions.depth++;
  if (depth >= actions.path.size()) return;
  const size_t begin = TagBegin(actions.parser);
  actions.path[depth] = {.name = actions.document.substr(begin + 1, std::strlen(name)),
                         .begin = begin,
                         .contentBegin = TagEnd(actions.parser)};
}

// For an element without an end tag, the parser reports one of no bytes after the element.
void HandleEndTag(void* data, const XML_Char* /*name*/) {
  Actions& actions = *static_cast<Actions*>(data);
  const size_t depth = --actions.depth;
  if (depth >= actions.path.size()) return;
  Element& element = actions.path[depth];
  element.contentEnd = TagBegin(actions.parser);
  element.end = TagEnd(actions.parser);
  if (depth == 2 && IsOurId(actions)) actions.isOurs = true;
  if (depth != 1) return;
  if (actions.isOurs) actions.ours.push_back(element);
  actions.isOurs = false;
}

std::string DescribePosition(XML_Parser parser) {
  return ":" + std::to_string(XML_GetCurrentLineNumber(parser)) + ":" +
         std::to_string(XML_GetCurrentColumnNumber(parser) + 1);
}

bool ParseActions(std::string_view document, Actions* actions, DocumentProblem* problem) {
  // The parser detects UTF-16 in spite of the encoding that it is given. Every document in UTF-16
  // contains null bytes, which XML does not allow in UTF-8.
  if (document.find('\0') != std::string_view::npos) {
    *problem = {.reason = "not UTF-8 text"};
    return false;
  }
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate("UTF-8"), XML_ParserFree);
  if (!parser) throw std::bad_alloc();
  *actions = {.document = document, .parser = parser.get()};
  // The handlers are called from C and must not throw. Each of our actions contains the id, so that
  // they never add more of them than this.
  actions->ours.reserve(document.size() / kActionID.size());
  XML_SetUserData(parser.get(), actions);
  XML_SetElementHandler(parser.get(), HandleStartTag, HandleEndTag);
  // Without it, entities would be expanded, and their elements have no positions in the document.
  XML_SetDefaultHandler(parser.get(), nullptr);
  const auto size = static_cast<int>(document.size());
  if (XML_Parse(parser.get(), document.data(), size, XML_TRUE) != XML_STATUS_OK) {
    const XML_Error error = XML_GetErrorCode(parser.get());
    if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    *problem = {.position = DescribePosition(parser.get()), .reason = XML_ErrorString(error)};
    return false;
  }
  const std::string_view root = actions->path[0].name;
  if (root == kRootName) return true;
  *problem = {.reason = "root element is <" + std::string(root) + ">, expected <actions>"};
  return false;
}

}  // namespace

std::string_view EmptyThunarActions() { return kEmptyDocument; }

bool HasThunarAction(std::string_view document, bool* isThere, DocumentProblem* problem) {
  Actions actions;
  if (!ParseActions(document, &actions, problem)) return false;
  *isThere = !actions.ours.empty();
  return true;
}

bool AddThunarAction(std::string_view document, std::string* changed, DocumentProblem* problem) {
  Actions actions;
  if (!ParseActions(document, &actions, problem)) return false;
  *changed = document;
  if (!actions.ours.empty()) return true;
  const Element& root = actions.path[0];
  const bool hasEndTag = root.contentEnd < root.end;
  if (hasEndTag) {
    changed->insert(root.contentEnd, kAction);
    return true;
  }
  // "<actions/>" becomes a start tag and an end tag with the action between them.
  const size_t slash = document.rfind('/', root.end);
  changed->replace(slash, root.end - slash, ">\n" + std::string(kAction) + "</actions>");
  return true;
}

bool RemoveThunarAction(std::string_view document, std::string* changed, DocumentProblem* problem) {
  Actions actions;
  if (!ParseActions(document, &actions, problem)) return false;
  std::ranges::reverse(actions.ours);
  *changed = document;
  for (const Element& action : actions.ours) {
    const size_t end = action.end + (document.substr(action.end).starts_with('\n') ? 1 : 0);
    changed->erase(action.begin, end - action.begin);
  }
  return true;
}

}  // namespace tessary
