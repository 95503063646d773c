#pragma once

#include <string>
#include <string_view>

// The text of Thunar's file of custom actions, "uca.xml". Nothing here touches a file.
//
// The functions that return a bool return false if the text is not such a document in UTF-8, with
// the reason in `*problem`; they write their results on success only. A document has at most 2 GiB.
// They throw std::bad_alloc only.
namespace tessary {

// Why a document cannot be used.
struct DocumentProblem {
  std::string position = {};  // ":LINE:COLUMN" if the document is not well-formed, else empty
  std::string reason = {};    // empty if there is no problem
};

// A document without actions.
std::string_view EmptyThunarActions();

// Sets `*isThere` if the document contains this program's action. It is recognized by its id, so
// that users may change the rest.
bool HasThunarAction(std::string_view document, bool* isThere, DocumentProblem* problem);

// Appends this program's action, unless the document contains it already. All other bytes stay.
bool AddThunarAction(std::string_view document, std::string* changed, DocumentProblem* problem);

// Removes each of this program's actions. Reverts AddThunarAction byte for byte, except that
// "<actions/>" stays expanded.
bool RemoveThunarAction(std::string_view document, std::string* changed, DocumentProblem* problem);

}  // namespace tessary
