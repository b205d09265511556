#include "qel/Strep.h"

#include <charconv>
#include <cstdio>
#include <limits>

#include "qel/Exception.h"

namespace Qel {

namespace {

// At most this much of an unexpected text is quoted in a message.
constexpr size_t kQuotedRest = 32;

std::string rest(StrepIterator current, StrepIterator end) {
  return quotedStrep(std::string_view(current, end).substr(0, kQuotedRest));
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isPrintable(unsigned char octet) { return octet >= 0x20 && octet <= 0x7e; }

void appendPrintable(std::string& text, char c) {
  const auto octet = static_cast<unsigned char>(c);
  if (isPrintable(octet)) {
    text += c;
    return;
  }
  char escaped[8];
  std::snprintf(escaped, sizeof escaped, "\\x%02x", octet);
  text += escaped;
}

int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

unsigned char hexOctet(char high, char low) {
  return static_cast<unsigned char>(hexValue(high) * 16 + hexValue(low));
}

}  // namespace

std::string valueToStrep(uint32_t value) { return std::to_string(value); }

std::string valueToStrep(double value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

std::string valueToStrep(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%llx",
                static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(pointer)));
  return text;
}

std::string printable(std::string_view text) {
  std::string out;
  for (const char c : text) appendPrintable(out, c);
  return out;
}

std::string quotedStrep(std::string_view octets) {
  std::string text = "'";
  for (const char c : octets) {
    if (c == '\'' || c == '\\') text += '\\';
    appendPrintable(text, c);
  }
  return text += '\'';
}

void requireLiteral(StrepIterator& current, StrepIterator end, std::string_view literal) {
  if (!std::string_view(current, end).starts_with(literal)) {
    throw SyntaxException("expected " + quotedStrep(literal) + ", found " + rest(current, end));
  }
  current += static_cast<std::ptrdiff_t>(literal.size());
}

uint32_t readU32Attribute(StrepIterator& current, StrepIterator end, const char* attribute) {
  if (current == end || !isDigit(*current)) {
    throw SyntaxException(std::string("in attribute '") + attribute +
                          "': expected an unsigned number, found " + rest(current, end));
  }
  uint64_t value = 0;
  while (current != end && isDigit(*current)) {
    value = value * 10 + static_cast<uint64_t>(*current++ - '0');
    if (value > std::numeric_limits<uint32_t>::max()) {
      throw RangeException(std::string("in attribute '") + attribute +
                           "': the number is above 4294967295");
    }
  }
  return static_cast<uint32_t>(value);
}

std::string readQuoted(StrepIterator& current, StrepIterator end) {
  if (current == end || *current != '\'') {
    throw RangeException("expected a quoted string, found " + rest(current, end));
  }
  ++current;
  std::string octets;
  while (current != end && *current != '\'') {
    if (*current != '\\') {
      if (!isPrintable(static_cast<unsigned char>(*current))) {
        throw RangeException("unescaped octet in a quoted string: " + rest(current, end));
      }
      octets += *current++;
      continue;
    }
    const std::string_view escape(current, end);
    if (escape.size() >= 2 && (escape[1] == '\'' || escape[1] == '\\')) {
      octets += escape[1];
      current += 2;
    } else if (escape.size() >= 4 && escape[1] == 'x' && hexValue(escape[2]) >= 0 &&
               hexValue(escape[3]) >= 0 && !isPrintable(hexOctet(escape[2], escape[3]))) {
      octets += static_cast<char>(hexOctet(escape[2], escape[3]));
      current += 4;
    } else {
      throw RangeException("bad escape in a quoted string: " + rest(current, end));
    }
  }
  if (current == end) throw RangeException("a quoted string is not closed");
  ++current;
  return octets;
}

}  // namespace Qel
