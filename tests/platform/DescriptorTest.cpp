#include "qel/Descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace {

using Qel::Descriptor;

Descriptor opened() { return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }
bool isOpen(int number) { return fcntl(number, F_GETFD) >= 0; }

TEST(Descriptor, IsClosedWithItsOwner) {
  int number = -1;
  {
    const Descriptor descriptor = opened();
    number = descriptor.number();
    EXPECT_TRUE(descriptor);
    EXPECT_TRUE(isOpen(number));
  }
  EXPECT_FALSE(isOpen(number));
}

TEST(Descriptor, MovesToOneOwner) {
  Descriptor first = opened();
  const int number = first.number();
  Descriptor second = std::move(first);
  EXPECT_EQ(first.number(), -1);
  EXPECT_EQ(second.number(), number);
  Descriptor third = opened();
  const int replaced = third.number();
  third = std::move(second);
  EXPECT_EQ(third.number(), number);
  EXPECT_TRUE(isOpen(number));
  EXPECT_FALSE(isOpen(replaced));
}

TEST(Descriptor, OfAFailedCallIsNone) {
  EXPECT_FALSE(Descriptor());
  EXPECT_FALSE(Descriptor(::open("/dev/null/nothing", O_RDONLY)));
}

}  // namespace
