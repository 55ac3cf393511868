// Splitting of list strings: several ids kept as one text, such as "11!12".
#ifndef RESOURCE_COMMON_STRINGUTILS_H
#define RESOURCE_COMMON_STRINGUTILS_H

#include <string>
#include <vector>

/// Appends an item and returns the list, so that appends can be chained. Writes nothing anywhere.
std::vector<std::string>& operator<<(std::vector<std::string>& items, const std::string& item);

/// Splits a text into tokens.
///
/// A separator inside double quotes does not split; the quotes are dropped. A backslash protects a
/// following backslash or quote and is dropped before anything else: it does not protect a
/// separator. Blanks and tabs at the start of a token are dropped, those at its end are kept. A
/// separator at the end yields an empty last token; an empty text yields no token.
///
/// Provided for `std::vector<std::string>`.
///
/// @param str          NUL-terminated text; not null.
/// @param delimiter    the separator.
/// @param results      receives the tokens; emptied first.
/// @param nullAsString true to write "<NULL>" for an empty token that was not quoted.
/// @return number of tokens in `results`.
template <typename Container>
int splitStr(const char* str, char delimiter, Container& results, bool nullAsString);

extern template int splitStr(const char*, char, std::vector<std::string>&, bool);

#endif
