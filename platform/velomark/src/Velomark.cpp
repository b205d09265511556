#include "velomark/Velomark.h"

#include <algorithm>
#include <array>

namespace Velomark {

namespace {
int enabledLevel = 1;
std::array<Record, kRingSize> ring;
size_t recorded = 0;
}  // namespace

void levelIs(int level) { enabledLevel = level; }
int level() { return enabledLevel; }

std::vector<Record> records() {
  std::vector<Record> kept;
  for (size_t i = recorded - std::min(recorded, kRingSize); i < recorded; ++i) {
    kept.push_back(ring[i % kRingSize]);
  }
  return kept;
}

void recordsDel() { recorded = 0; }

Block::Block(int level, const char* text) {
  if (level > enabledLevel) return;
  record_ = {level, text, std::chrono::steady_clock::now(), {}};
}

Block::~Block() {
  if (record_.text == nullptr) return;
  record_.duration = std::chrono::steady_clock::now() - record_.start;
  ring[recorded++ % kRingSize] = record_;
}

}  // namespace Velomark
