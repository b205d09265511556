#pragma once

/// String forms of values and their readers.
///
/// `valueToStrep` writes a value so that it can be read back; readers take a pair of iterators,
/// leave the first one just past what they read, and throw when the text is not what they require.

#include <cstdint>
#include <string>
#include <string_view>

namespace Qel {

using StrepIterator = std::string_view::const_iterator;

std::string valueToStrep(uint32_t value);
std::string valueToStrep(double value);
/// The address of an object, "0x0" for null.
std::string valueToStrep(const void* pointer);
/// The text with every octet outside 0x20 to 0x7e as \xNN.
std::string printable(std::string_view text);
/// The octets between single quotes; quotes, backslashes and octets outside 0x20 to 0x7e escaped.
std::string quotedStrep(std::string_view octets);

/// Steps over `literal`; throws `SyntaxException` when the text differs.
void requireLiteral(StrepIterator& current, StrepIterator end, std::string_view literal);
/// Reads an unsigned decimal. Throws `SyntaxException` where no digit stands and `RangeException`
/// above 4294967295; both name the attribute.
uint32_t readU32Attribute(StrepIterator& current, StrepIterator end, const char* attribute);
/// Reads what `quotedStrep` writes; throws `RangeException` for anything else.
std::string readQuoted(StrepIterator& current, StrepIterator end);

}  // namespace Qel
