#pragma once

/// SNMPv2c requests put together once, before anything is timed, and just enough reading of
/// responses to check them and to go on from them.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Bench {

using Oid = std::vector<uint32_t>;
using Octets = std::string;

/// Reads "1.3.6.1"; throws `std::invalid_argument`.
Oid oidOf(const std::string& dotted);
/// The contents of an OBJECT IDENTIFIER.
Octets encodedOid(const Oid& oid);

enum class Operation : uint8_t { get = 0xA0, getNext = 0xA1, getBulk = 0xA5 };

/// A request whose varbinds have the given encoded names. The request id is filled in when it is
/// sent: ids always take four octets.
Octets request(Operation operation, uint32_t repetitions, const std::vector<Octets>& names);

/// An id that takes four octets in every encoding.
constexpr uint32_t requestId(uint32_t number) { return 0x01000000U | (number & 0xFFFFFFU); }
void requestIdIs(Octets& packet, uint32_t id);

struct Varbind {
  std::string_view name;  // encoded
  uint8_t type = 0;
  std::string_view value;  // encoded
  /// noSuchObject, noSuchInstance or endOfMibView.
  bool isException() const { return type >= 0x80 && type <= 0x82; }
};

/// What a response says; the varbinds point into the packet.
struct Response {
  uint32_t id = 0;
  int64_t errorStatus = 0;
  std::vector<Varbind> varbinds;
};

/// Reads a response into `response`, whose memory is used again; false for anything that is none.
bool read(std::string_view packet, Response& response);

}  // namespace Bench
