#pragma once

/// A snapshot as text for people: the data plane's features, then one block for each ACL with its
/// type and name, and in it one line for each sequence number.

#include <ostream>

#include "snapshot/Snapshot.h"

namespace Dump {

/// Names and remarks stand between single quotes with octets outside the printable ones escaped.
void printTable(std::ostream& out, const Sources::Snapshot& snapshot);

}  // namespace Dump
