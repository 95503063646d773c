#include "programs/cli/thunar_actions.h"

#include <algorithm>
#include <vector>

#include "programs/cli/markup.h"

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

bool ParseActions(std::string_view document, std::vector<MarkupElement>* elements,
                  std::string* problem) {
  if (!ParseMarkup(document, elements, problem)) return false;
  if (elements->front().name == kRootName) return true;
  *problem = "root element is <" + std::string(elements->front().name) + ">, expected <actions>";
  return false;
}

// The actions with our id that are direct children of the root element, in their order.
std::vector<MarkupElement> FindOurs(std::string_view document,
                                    const std::vector<MarkupElement>& elements) {
  std::vector<MarkupElement> ours;
  for (const MarkupElement& element : elements) {
    if (element.name != "unique-id" || element.parent == kNoElement) continue;
    const MarkupElement& action = elements[element.parent];
    if (action.name != "action" || action.parent != 0) continue;
    const std::string_view id =
        document.substr(element.contentBegin, element.contentEnd - element.contentBegin);
    if (TrimWhitespace(id) == kActionID) ours.push_back(action);
  }
  return ours;
}

}  // namespace

std::string_view EmptyThunarActions() { return kEmptyDocument; }

bool HasThunarAction(std::string_view document, bool* isThere, std::string* problem) {
  std::vector<MarkupElement> elements;
  if (!ParseActions(document, &elements, problem)) return false;
  *isThere = !FindOurs(document, elements).empty();
  return true;
}

bool AddThunarAction(std::string_view document, std::string* changed, std::string* problem) {
  std::vector<MarkupElement> elements;
  if (!ParseActions(document, &elements, problem)) return false;
  *changed = document;
  if (!FindOurs(document, elements).empty()) return true;
  const MarkupElement& root = elements.front();
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

bool RemoveThunarAction(std::string_view document, std::string* changed, std::string* problem) {
  std::vector<MarkupElement> elements;
  if (!ParseActions(document, &elements, problem)) return false;
  std::vector<MarkupElement> ours = FindOurs(document, elements);
  std::ranges::reverse(ours);
  *changed = document;
  for (const MarkupElement& action : ours) {
    const size_t end = action.end + (document.substr(action.end).starts_with('\n') ? 1 : 0);
    changed->erase(action.begin, end - action.begin);
  }
  return true;
}

}  // namespace tessary
