// Splitting and trimming of text, and names out of Resource Manager ids.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "src/base/status.h"

namespace azurestackpi {

/// Destructive tokeniser: returns the text at *cursor up to the next delimiter, which becomes a NUL, and moves *cursor
/// past it. Two delimiters in a row give an empty token. At the end of the text returns null, as for a null cursor.
char* StringGetNext(char** cursor, char delimiter);

/// All the tokens of a text as StringGetNext yields them: a trailing delimiter gives no last empty token.
std::vector<std::string> SplitText(const std::string& text, char delimiter);

/// True for an empty text or one of blanks (" ") only.
bool IsEmptyString(const std::string& text);

/// Remove from the left, the right or both ends every character that stands in the set.
std::string ltrim(const std::string& text, const std::string& characters);
std::string rtrim(const std::string& text, const std::string& characters);
std::string trimSpace(const std::string& text, const std::string& characters);

/// The text, or an empty one for null.
std::string getValue(const char* text);

/// Removes leading blanks, then leading double quotes, then trailing blanks, in place; the result is bounded by size.
void TrimString(char* text, std::size_t size);

/// Replaces every occurrence of one character in place. Returns the end of the text, null for an empty or null text.
char* StringReplace(char* text, char from, char to);

/// True if word equals one of the blank-separated words of the list.
bool StringSearch(std::string_view word, std::string_view list);

std::string ToLower(std::string_view text);
bool EqualIgnoringCase(std::string_view left, std::string_view right);

/// A yes/no setting: yes for every prefix of "true" in any letter case, the empty text included.
bool IsYes(std::string_view value);

/// The name behind key in a resource id: sets token to the text of path between key (found in any letter case) and the
/// next "/". Leaves token alone, with an error line, when the key or that "/" is missing.
void getNextPathToken(const std::string& path, const std::string& key, std::string& token);

/// The subscription of "/SUBSCRIPTION/...": the text after the first character up to the next "/" from position 2 on.
/// 6601 with an error line for a path shorter than two characters.
Status extractSubIdFromPath(const std::string& path, std::string& subscription);

}  // namespace azurestackpi
