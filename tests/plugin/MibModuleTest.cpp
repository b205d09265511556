// The MIB module against the tables that the code serves, so that they cannot drift apart.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tables.h"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;
using Labels = std::map<int, std::string>;
using Sizes = std::pair<int, int>;

/// The module, read by the library's parser without any of the host's MIB files.
class Module : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    setenv("MIBS", "", 1);
    setenv("MIBDIRS", MIB_STAND_INS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    netsnmp_init_mib();
    add_mibdir(MIB_STAND_INS);
    add_mibdir(MIB_FOLDER);
    ASSERT_NE(netsnmp_read_module("ZORLEN-ACL-MIB"), nullptr);
  }

  static const tree* child(const tree* parent, u_long number) {
    for (const tree* c = parent->child_list; c != nullptr; c = c->next_peer) {
      if (c->subid == number) return c;
    }
    return nullptr;
  }
  template <size_t N>
  static const tree* at(const std::array<oid, N>& name) {
    const tree* node = nullptr;
    for (const tree* head = get_tree_head(); head != nullptr; head = head->next_peer) {
      if (head->subid == name[0]) node = head;
    }
    for (size_t i = 1; node != nullptr && i < N; ++i) node = child(node, name[i]);
    return node;
  }
  static std::string label(const tree* node) { return node == nullptr ? "" : node->label; }
  static Names children(const tree* parent) {
    std::map<u_long, std::string> byNumber;
    for (const tree* c = parent->child_list; c != nullptr; c = c->next_peer) {
      byNumber[c->subid] = c->label;
    }
    Names names;
    for (const auto& [number, name] : byNumber) {
      names.push_back(std::to_string(number) + " " + name);
    }
    return names;
  }
  static Labels enums(const tree* node) {
    Labels labels;
    for (const enum_list* e = node->enums; e != nullptr; e = e->next) labels[e->value] = e->label;
    return labels;
  }
  static std::vector<Sizes> sizes(const tree* node) {
    std::vector<Sizes> found;
    for (const range_list* r = node->ranges; r != nullptr; r = r->next) {
      found.emplace_back(r->low, r->high);
    }
    return found;
  }
  static u_char asnType(const tree* node) {
    switch (node->type) {
      case TYPE_OCTETSTR:
      case TYPE_BITSTRING:  // BITS travel as octets
        return ASN_OCTET_STR;
      case TYPE_INTEGER:
        return ASN_INTEGER;
      case TYPE_IPADDR:
        return ASN_IPADDRESS;
      case TYPE_UNSIGNED32:
      case TYPE_UINTEGER:
      case TYPE_GAUGE:
        return ASN_UNSIGNED;
      case TYPE_TIMETICKS:
        return ASN_TIMETICKS;
      case TYPE_COUNTER64:
        return ASN_COUNTER64;
      default:
        ADD_FAILURE() << node->label << " has type " << node->type;
        return 0;
    }
  }
  static const tree* object(const char* name) {
    const tree* found = find_tree_node(name, -1);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }
  static void expectColumn(const tree* node, const std::string& encoder, int bufferSize,
                           bool fixed) {
    const Labels truth = {{1, "true"}, {2, "false"}};
    const std::map<std::string, Labels> labels = {
        {"BoolToAsnInteger", truth},
        {"RangeOperCodeToAsnInteger",
         {{number(Acl::RangeOperator::any), "any"},
          {number(Acl::RangeOperator::eq), "eq"},
          {number(Acl::RangeOperator::gt), "gt"},
          {number(Acl::RangeOperator::lt), "lt"},
          {number(Acl::RangeOperator::neq), "neq"},
          {number(Acl::RangeOperator::range), "range"}}},
        {"ActionCodeToAsnInteger",
         {{number(Acl::Action::permit), "permit"}, {number(Acl::Action::deny), "deny"}}},
        {"TcpFlagsToAsnBits",
         {{bit(Acl::fin), "fin"},
          {bit(Acl::syn), "syn"},
          {bit(Acl::rst), "rst"},
          {bit(Acl::psh), "psh"},
          {bit(Acl::ack), "ack"},
          {bit(Acl::urg), "urg"}}}};
    const auto expected = labels.find(encoder);
    EXPECT_EQ(enums(node), expected == labels.end() ? Labels() : expected->second);
    EXPECT_EQ(node->access, MIB_ACCESS_READONLY);
    EXPECT_EQ(node->type == TYPE_BITSTRING, encoder == "TcpFlagsToAsnBits");
    if (node->type == TYPE_OCTETSTR) {
      EXPECT_THAT(sizes(node), ElementsAre(Sizes(fixed ? bufferSize : 0, bufferSize)));
    } else {
      EXPECT_EQ(bufferSize, AclSnmp::kValueBuffer);
    }
  }
  template <class Enum>
  static int number(Enum value) {
    return static_cast<int>(value);
  }
  /// The BITS number of a flag: where the encoder puts it, counted from the highest bit.
  static int bit(Acl::TcpFlag flag) {
    Acl::IpFilter filter;
    filter.tcpFlags = flag;
    unsigned char octet = 0;
    EXPECT_EQ(TcpFlagsToAsnBits(filter, &octet, 1), 1);
    return position(octet);
  }
  static int position(unsigned char octet) {
    for (int i = 0; i < 8; ++i) {
      if (octet == (0x80 >> i)) return i;
    }
    ADD_FAILURE() << "not one bit: " << static_cast<int>(octet);
    return -1;
  }

  template <const auto& table>
  static void expectTable() {
    SCOPED_TRACE(table.name);
    using TableT = std::remove_cvref_t<decltype(table)>;
    const tree* node = at(AclSnmp::objectOid(table.place));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(label(node), table.name);
    EXPECT_EQ(node->access, MIB_ACCESS_NOACCESS);
    std::string entryName = table.name;
    entryName.replace(entryName.size() - 5, 5, "Entry");
    ASSERT_THAT(children(node), ElementsAre("1 " + entryName));
    const tree* entry = child(node, 1);

    std::vector<std::string> indexes;
    for (const index_list* i = entry->indexes; i != nullptr; i = i->next) {
      indexes.emplace_back(i->ilabel);
      EXPECT_EQ(i->isimplied, 0);
    }
    std::vector<std::string> expected;
    for (const auto& index : table.index) expected.emplace_back(index.name);
    EXPECT_EQ(indexes, expected);
    for (const auto& index : table.index) {
      SCOPED_TRACE(index.name);
      const tree* indexNode = object(index.name);
      ASSERT_NE(indexNode, nullptr);
      EXPECT_EQ(asnType(indexNode), index.asnType);
      EXPECT_EQ(indexNode->access, MIB_ACCESS_NOACCESS);
      if (index.asnType == ASN_OCTET_STR) {
        EXPECT_THAT(sizes(indexNode), ElementsAre(Sizes(0, AclSnmp::kNameBuffer)));
      }
    }

    // All that the module has, and nothing more: column 1 is an index object and is not served.
    const std::string first = TableT::kHasTimeMark || !TableT::kHasSequence
                                  ? table.index[0].name
                                  : table.index[table.index.size() - 1].name;
    Names names = {"1 " + first};
    unsigned number = TableT::kFirstColumn;
    for (const auto& column : table.columns) {
      names.push_back(std::to_string(number++) + " " + column.name);
    }
    EXPECT_EQ(children(entry), names);
    number = TableT::kFirstColumn;
    for (const auto& column : table.columns) {
      SCOPED_TRACE(column.name);
      const tree* columnNode = child(entry, number++);
      ASSERT_NE(columnNode, nullptr);
      EXPECT_EQ(asnType(columnNode), column.asnType);
      expectColumn(columnNode, column.encoderName, column.bufferSize, column.length.atLeast != 0);
    }
  }
};

TEST_F(Module, StandsUnderTheRootOfTheCode) {
  std::array<oid, 9> root{};
  std::copy_n(AclSnmp::kMibObjects.begin(), root.size(), root.begin());
  const tree* node = at(root);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(label(node), "zorlenAclMIB");
  EXPECT_EQ(label(at(AclSnmp::kMibObjects)), "zorlenAclObjects");
}

TEST_F(Module, HasTheGroupsAndTheScalarAndNothingElse) {
  const tree* objects = at(AclSnmp::kMibObjects);
  ASSERT_NE(objects, nullptr);
  EXPECT_THAT(children(objects),
              ElementsAre("1 zorlenIpAclObjects", "2 zorlenMacAclObjects", "3 zorlenIpv6AclObjects",
                          "4 zorlenAclDpSupportFlags"));
  for (const auto& [number, family] :
       std::map<u_long, std::string>{{1, "Ip"}, {2, "Mac"}, {3, "Ipv6"}}) {
    EXPECT_THAT(children(child(objects, number)),
                ElementsAre("1 zorlen" + family + "AclTable", "2 zorlen" + family + "AclRuleTable",
                            "3 zorlen" + family + "AclRuleStatsTable"));
  }
}

TEST_F(Module, DescribesEveryTableAsItIsServed) {
  using namespace AclSnmp;
  expectTable<zorlenIpAclTable>();
  expectTable<zorlenIpAclRuleTable>();
  expectTable<zorlenIpAclRuleStatsTable>();
  expectTable<zorlenMacAclTable>();
  expectTable<zorlenMacAclRuleTable>();
  expectTable<zorlenMacAclRuleStatsTable>();
  expectTable<zorlenIpv6AclTable>();
  expectTable<zorlenIpv6AclRuleTable>();
  expectTable<zorlenIpv6AclRuleStatsTable>();
}

TEST_F(Module, DescribesTheScalarsBitsAsTheyAreEncoded) {
  const tree* scalar = at(AclSnmp::objectOid(AclSnmp::kDpSupportFlagsPlace));
  ASSERT_NE(scalar, nullptr);
  EXPECT_EQ(label(scalar), "zorlenAclDpSupportFlags");
  EXPECT_EQ(scalar->type, TYPE_BITSTRING);
  EXPECT_EQ(scalar->access, MIB_ACCESS_READONLY);
  EXPECT_EQ(scalar->child_list, nullptr);
  const std::vector<std::pair<std::string, void (Acl::Status::*)(const bool&)>> features = {
      {"acl", &Acl::Status::dpAclSupportedIs},
      {"logging", &Acl::Status::dpAclLoggingSupportedIs},
      {"counters", &Acl::Status::dpAclCountersSupportedIs},
      {"routerAcl", &Acl::Status::dpRouterAclSupportedIs}};
  Labels expected;
  for (const auto& [name, set] : features) {
    const auto status = Qel::make<Acl::Status>("status");
    (status.get()->*set)(true);
    unsigned char octet = 0;
    ASSERT_EQ(DpAclSupportFlagsToAsnBits(status, &octet, 1), 1);
    expected[position(octet)] = name;
  }
  EXPECT_EQ(enums(scalar), expected);
}

// The reverse, whatever the place: every readable object of the module is a column or the scalar.
TEST_F(Module, HasNoReadableObjectThatIsNotServed) {
  std::set<std::string> served = {"zorlenAclDpSupportFlags"};
  const auto add = [&](const auto& table) {
    for (const auto& column : table.columns) served.insert(column.name);
  };
  using namespace AclSnmp;
  add(zorlenIpAclTable), add(zorlenIpAclRuleTable), add(zorlenIpAclRuleStatsTable);
  add(zorlenMacAclTable), add(zorlenMacAclRuleTable), add(zorlenMacAclRuleStatsTable);
  add(zorlenIpv6AclTable), add(zorlenIpv6AclRuleTable), add(zorlenIpv6AclRuleStatsTable);
  EXPECT_EQ(served.size(), 1U + 3 * 3 + 20 + 8 + 18 + 3 * 2);

  std::set<std::string> readable;
  Names writable;
  const std::function<void(const tree*)> visit = [&](const tree* node) {
    if (node->access == MIB_ACCESS_READONLY) readable.insert(node->label);
    if (node->access == MIB_ACCESS_READWRITE || node->access == MIB_ACCESS_CREATE ||
        node->access == MIB_ACCESS_WRITEONLY) {
      writable.emplace_back(node->label);
    }
    for (const tree* c = node->child_list; c != nullptr; c = c->next_peer) visit(c);
  };
  std::array<oid, 9> root{};
  std::copy_n(kMibObjects.begin(), root.size(), root.begin());
  ASSERT_NE(at(root), nullptr);
  visit(at(root));
  EXPECT_EQ(readable, served);
  EXPECT_THAT(writable, IsEmpty());
}

}  // namespace
}  // namespace MibTest
