// Ends the program with one line where too little memory is left to get far: the agent library does
// not live through an allocation that fails, and below a certain point not even an exception can be
// thrown. Linked into the program itself, whose early functions run before those of any library.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string_view>

namespace {

void requireMemory() {
  constexpr size_t kOctets = size_t{32} << 20;
  void* memory = mmap(nullptr, kOctets, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED && munmap(memory, kOctets) == 0) return;
  constexpr std::string_view kLine = "aclsnmpd: not enough memory\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine.data(), kLine.size());
  _exit(1);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const early)() = requireMemory;

}  // namespace
