#include "Packet.h"

#include <optional>
#include <sstream>
#include <stdexcept>

namespace Bench {

namespace {

constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kOctetString = 0x04;
constexpr uint8_t kNull = 0x05;
constexpr uint8_t kOid = 0x06;
constexpr uint8_t kSequence = 0x30;
constexpr uint8_t kResponse = 0xA2;
constexpr std::string_view kCommunity = "public";

// Every length takes three octets, so that a packet's size does not move its parts.
Octets element(uint8_t type, std::string_view contents) {
  Octets made;
  made += static_cast<char>(type);
  made += static_cast<char>(0x82);
  made += static_cast<char>(contents.size() >> 8);
  made += static_cast<char>(contents.size());
  made += contents;
  return made;
}

Octets integer(uint32_t value) {
  Octets contents;
  for (int shift = 24; shift >= 0; shift -= 8) contents += static_cast<char>(value >> shift);
  return element(kInteger, contents);
}

// Behind the headers of message and PDU, the version and the community.
constexpr size_t kHeader = 4;
constexpr size_t kIdOffset =
    kHeader + (kHeader + 4) + (kHeader + kCommunity.size()) + kHeader + kHeader;

/// Takes one element off the front.
struct Element {
  uint8_t type = 0;
  std::string_view contents;
};
bool take(std::string_view& from, Element& element) {
  if (from.size() < 2) return false;
  element.type = static_cast<uint8_t>(from[0]);
  size_t length = static_cast<uint8_t>(from[1]);
  size_t header = 2;
  if ((length & 0x80) != 0) {
    const size_t octets = length & 0x7F;
    if (octets == 0 || octets > 4 || from.size() < header + octets) return false;
    length = 0;
    for (size_t i = 0; i < octets; ++i)
      length = length << 8 | static_cast<uint8_t>(from[header + i]);
    header += octets;
  }
  if (from.size() - header < length) return false;
  element.contents = from.substr(header, length);
  from.remove_prefix(header + length);
  return true;
}

int64_t number(std::string_view contents) {
  int64_t value = !contents.empty() && (contents[0] & 0x80) != 0 ? -1 : 0;
  for (const char octet : contents)
    value = static_cast<int64_t>(static_cast<uint64_t>(value) << 8 | static_cast<uint8_t>(octet));
  return value;
}

}  // namespace

Oid oidOf(const std::string& dotted) {
  Oid oid;
  std::istringstream in(dotted);
  for (std::string part; std::getline(in, part, '.');) {
    if (!part.empty()) oid.push_back(static_cast<uint32_t>(std::stoul(part)));
  }
  if (oid.size() < 2) throw std::invalid_argument("not an OID: " + dotted);
  return oid;
}

Octets encodedOid(const Oid& oid) {
  Octets made;
  made += static_cast<char>(oid[0] * 40 + oid[1]);
  for (size_t i = 2; i < oid.size(); ++i) {
    for (int shift = 28; shift > 0; shift -= 7) {
      if (oid[i] >> shift != 0) made += static_cast<char>(0x80U | (oid[i] >> shift & 0x7FU));
    }
    made += static_cast<char>(oid[i] & 0x7FU);
  }
  return made;
}

Octets request(Operation operation, uint32_t repetitions, const std::vector<Octets>& names) {
  Octets varbinds;
  for (const Octets& name : names) {
    Octets varbind = element(kOid, name);
    varbind += static_cast<char>(kNull);
    varbind += '\0';
    varbinds += element(kSequence, varbind);
  }
  // For a GETBULK these two are the non-repeaters and the repetitions, else status and index.
  const Octets pdu =
      integer(requestId(0)) + integer(0) + integer(repetitions) + element(kSequence, varbinds);
  return element(kSequence, integer(1) + element(kOctetString, kCommunity) +
                                element(static_cast<uint8_t>(operation), pdu));
}

void requestIdIs(Octets& packet, uint32_t id) {
  for (size_t i = 0; i < 4; ++i) packet[kIdOffset + i] = static_cast<char>(id >> (24 - 8 * i));
}

bool read(std::string_view packet, Response& response) {
  response.varbinds.clear();
  Element message;
  Element pdu;
  Element part;
  if (!take(packet, message)) return false;
  std::string_view rest = message.contents;
  if (!take(rest, part) || !take(rest, part) || !take(rest, pdu) || pdu.type != kResponse)
    return false;
  rest = pdu.contents;
  if (!take(rest, part)) return false;
  response.id = static_cast<uint32_t>(number(part.contents));
  if (!take(rest, part)) return false;
  response.errorStatus = number(part.contents);
  if (!take(rest, part) || !take(rest, part)) return false;
  std::string_view list = part.contents;
  while (!list.empty()) {
    Element varbind;
    Element name;
    Element value;
    if (!take(list, varbind) || !take(varbind.contents, name) || !take(varbind.contents, value))
      return false;
    response.varbinds.push_back({name.contents, value.type, value.contents});
  }
  return true;
}

}  // namespace Bench
