#pragma once

#include <string>
#include <string_view>

// The text of Thunar's file of custom actions, "uca.xml". Nothing here touches a file.
//
// The functions that return a bool return false if the text is not such a document, with the reason
// in `*problem`; they write their results on success only.
namespace tessary {

// A document without actions.
std::string_view EmptyThunarActions();

// Sets `*isThere` if the document contains this program's action. It is recognized by its id, so
// that users may change the rest.
bool HasThunarAction(std::string_view document, bool* isThere, std::string* problem);

// Appends this program's action, unless the document contains it already. All other bytes stay.
bool AddThunarAction(std::string_view document, std::string* changed, std::string* problem);

// Removes each of this program's actions. Reverts AddThunarAction byte for byte, except that
// "<actions/>" stays expanded.
bool RemoveThunarAction(std::string_view document, std::string* changed, std::string* problem);

}  // namespace tessary
