#pragma once

/// The fast trace: timed blocks in a ring of fixed size. Recording one costs two clock reads and a
/// few stores, so it stays on in production. For the event thread only.

#include <chrono>
#include <cstddef>
#include <vector>

namespace Velomark {

struct Record {
  int level = 0;
  /// A text that lives as long as the program part that recorded it: a signature, not a message.
  const char* text = nullptr;
  std::chrono::steady_clock::time_point start;
  std::chrono::steady_clock::duration duration{};
};

/// How many records the ring keeps.
constexpr size_t kRingSize = 1024;

/// Blocks above this level are not recorded; 1 at start.
void levelIs(int level);
int level();

/// The kept records, the one that ended last at the end.
std::vector<Record> records();
/// Forgets all records; needed before the code that made them is unloaded.
void recordsDel();

/// Records the time from its construction to its destruction.
class Block {
 public:
  Block(int level, const char* text);
  ~Block();
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

 private:
  Record record_;  // the text is null when the level is off
};

}  // namespace Velomark
