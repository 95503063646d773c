#pragma once

#include <string>
#include <string_view>

// The text of Thunar's file of custom actions, "uca.xml". Nothing here touches a file.
//
// Each of these answers false for a text that is no such document, with why in `*problem`, and
// writes its result on success only.
namespace tessary {

// A document without actions.
std::string_view EmptyThunarActions();

// Tells whether the document holds this program's action, which is known by its id, whatever its
// user has made of the rest.
bool HasThunarAction(std::string_view document, bool* isThere, std::string* problem);

// Makes of the document one with this program's action as its last, or as it was where that is
// there already. Everything else stays byte for byte.
bool AddThunarAction(std::string_view document, std::string* changed, std::string* problem);

// Makes of the document one without this program's action, each of them where there are several.
// What AddThunarAction made becomes what it was, byte for byte.
bool RemoveThunarAction(std::string_view document, std::string* changed, std::string* problem);

}  // namespace tessary
