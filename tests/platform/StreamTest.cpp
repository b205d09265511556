#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "Connections.h"
#include "Framer.h"
#include "qel/Time.h"

namespace {

using Snmp::Connections;
using Snmp::Framer;

std::string taken(Framer& framer) {
  std::string whole(framer.whole(), '\0');
  framer.take(whole.data());
  return whole;
}

std::string message(size_t content) {
  std::string made("\x30\x82", 2);
  made += static_cast<char>(content >> 8);
  made += static_cast<char>(content & 0xFF);
  return made + std::string(content, 'x');
}

TEST(Framer, CutsAStreamAtEveryMessageWhereverItsPartsEnd) {
  const std::string stream = message(300) + std::string("\x30\x02\x01\x02\x30\x00", 6) +
                             std::string("\x30\x88\0\0\0\0\0\0\0\x01z", 11) + message(0);
  for (size_t step = 1; step <= stream.size(); ++step) {
    Framer framer;
    std::string all;
    for (size_t at = 0; at < stream.size(); at += step) {
      ASSERT_EQ(framer.add(std::string_view(stream).substr(at, step)), Framer::Fault::none);
      all += taken(framer);
      EXPECT_EQ(framer.whole(), 0U);
    }
    EXPECT_EQ(all, stream);
    EXPECT_FALSE(framer.partial());
  }
}

TEST(Framer, HoldsAPartUntilTheMessageIsWhole) {
  Framer framer;
  EXPECT_EQ(framer.add("\x30"), Framer::Fault::none);
  EXPECT_TRUE(framer.partial());
  EXPECT_EQ(framer.whole(), 0U);
  EXPECT_EQ(framer.add(std::string_view("\x01\x05\x30", 3)), Framer::Fault::none);
  EXPECT_EQ(taken(framer), "\x30\x01\x05");
  EXPECT_TRUE(framer.partial());
}

TEST(Framer, RefusesWhatIsNoMessageAsSoonAsItShows) {
  struct Case {
    std::string octets;
    Framer::Fault fault;
  };
  const std::vector<Case> cases = {
      {"G", Framer::Fault::noMessage},
      {std::string("\x30\0\x31", 3), Framer::Fault::noMessage},
      {"\x30\x80", Framer::Fault::noMessage},
      {"\x30\x89", Framer::Fault::noMessage},
      {"\x30\xff", Framer::Fault::noMessage},
      {std::string("\x30\x82\xff\xfc", 4), Framer::Fault::none},
      {std::string("\x30\x82\xff\xfd", 4), Framer::Fault::tooLong},
      {std::string("\x30\x84\x40\0\0\0", 6), Framer::Fault::tooLong},
      {std::string("\x30\x88\xff\xff\xff\xff\xff\xff\xff\xff", 10), Framer::Fault::tooLong},
  };
  for (const Case& each : cases) {
    Framer framer;
    EXPECT_EQ(framer.add(each.octets), each.fault) << testing::PrintToString(each.octets);
  }
}

TEST(Framer, TakesTheLargestMessageAndNeverHoldsMore) {
  Framer framer;
  const std::string largest = message(Snmp::kMaxMessage - 4);
  for (size_t at = 0; at < largest.size();) {
    ASSERT_GT(framer.room(), 0U);
    const std::string_view part =
        std::string_view(largest).substr(at, std::min<size_t>(2048, framer.room()));
    ASSERT_EQ(framer.add(part), Framer::Fault::none);
    at += part.size();
  }
  EXPECT_EQ(framer.room(), 0U);
  EXPECT_EQ(taken(framer), largest);
  EXPECT_EQ(framer.room(), Snmp::kMaxMessage);
}

/// Connections over socket pairs, on a clock that stands still.
class ConnectionsTest : public testing::Test {
 protected:
  ConnectionsTest() { connections.limitsAre({4, 2, 60}); }
  ~ConnectionsTest() override {
    for (const auto& pair : pairs_) {
      ::close(pair[0]);
      ::close(pair[1]);
    }
  }

  /// The agent's end of a new connection of a peer; -1 when it is refused.
  int open(const std::string& peer) {
    std::array<int, 2> pair{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
    pairs_.push_back(pair);
    last = connections.add(pair[0], peer);
    return last == Connections::Admission::admitted ? pair[0] : -1;
  }
  /// Whether the other end reads that it is over.
  bool ended(int descriptor) {
    for (const auto& pair : pairs_) {
      char octet = 0;
      if (pair[0] == descriptor) return ::recv(pair[1], &octet, 1, MSG_DONTWAIT) == 0;
    }
    return false;
  }

  Qel::ManualClock clock{1000};
  Connections connections;
  Connections::Admission last = Connections::Admission::admitted;

 private:
  std::vector<std::array<int, 2>> pairs_;
};

TEST_F(ConnectionsTest, RefusesAPeerThatHasManyAndNobodyElse) {
  EXPECT_NE(open("a"), -1);
  const int second = open("a");
  EXPECT_EQ(open("a"), -1);
  EXPECT_EQ(last, Connections::Admission::tooManyOfPeer);
  EXPECT_NE(open("b"), -1);
  connections.remove(second);
  EXPECT_NE(open("a"), -1);
}

TEST_F(ConnectionsTest, WithoutRoomTheLongestSilentOneThatWasNeverAnsweredIsEnded) {
  const int answered = open("a");
  connections.find(answered)->answered = true;
  clock.advance(1);
  const int first = open("b");
  clock.advance(1);
  const int second = open("c");
  const int third = open("c");
  connections.find(first)->since = Qel::now() + 1;
  EXPECT_NE(open("d"), -1);
  EXPECT_TRUE(ended(second));
  EXPECT_FALSE(ended(answered) || ended(first) || ended(third));
}

TEST_F(ConnectionsTest, WithoutRoomAndWithAllAnsweredANewOneIsRefused) {
  for (const char* peer : {"a", "b", "c", "d"}) connections.find(open(peer))->answered = true;
  EXPECT_EQ(open("e"), -1);
  EXPECT_EQ(last, Connections::Admission::tooMany);
}

TEST_F(ConnectionsTest, EndsWhatIsSilentForTooLongAndSaysWhenTheNextIsDue) {
  EXPECT_EQ(connections.endOverdue(), std::nullopt);
  const int first = open("a");
  clock.advance(20);
  const int second = open("b");
  EXPECT_EQ(connections.endOverdue(), 40);
  clock.advance(40);
  EXPECT_EQ(connections.endOverdue(), 20);
  EXPECT_TRUE(ended(first));
  EXPECT_FALSE(ended(second));
  connections.find(second)->since = Qel::now();
  clock.advance(59);
  connections.endOverdue();
  EXPECT_FALSE(ended(second));
  clock.advance(1);
  connections.endOverdue();
  EXPECT_TRUE(ended(second));
}

TEST_F(ConnectionsTest, AnEndedOneCountsNoMore) {
  open("a");
  open("a");
  clock.advance(60);
  connections.endOverdue();
  EXPECT_NE(open("a"), -1);
}

TEST(Peer, OfALocalSocketIsItsUser) {
  std::array<int, 2> pair{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()), 0);
  EXPECT_EQ(Snmp::peerOf(pair[0]), "user " + std::to_string(::geteuid()));
  ::close(pair[0]);
  ::close(pair[1]);
  EXPECT_EQ(Snmp::peerOf(-1), "unknown");
}

}  // namespace
