#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "snmp/Registration.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class Recorder final : public Snmp::HandlerRegistration {
 public:
  void initHandler(Qel::String8 context) override {
    contexts.push_back(context.str());
    if (action) action(context);
  }
  std::vector<std::string> contexts;
  std::function<void(const Qel::String8&)> action;
};

class Registration : public testing::Test {
 protected:
  ~Registration() override {
    while (!Snmp::contexts().empty()) Snmp::contextDel(Qel::String8(*Snmp::contexts().begin()));
    EXPECT_THAT(Snmp::mibContexts(), IsEmpty());
    Snmp::mountPointIs(nullptr);
  }
};

TEST_F(Registration, IsInitializedOnceForEachContextThatExists) {
  Snmp::contextIs("");
  Snmp::contextIs("b");
  Recorder recorder;
  const Snmp::AutoRegistree registree(&recorder);
  EXPECT_THAT(recorder.contexts, IsEmpty());
  Snmp::initNewRegistrations();
  EXPECT_THAT(recorder.contexts, ElementsAre("", "b"));
  Snmp::initNewRegistrations();
  Snmp::contextIs("b");
  EXPECT_THAT(recorder.contexts, ElementsAre("", "b"));
}

TEST_F(Registration, IsInitializedForEachContextThatComesLater) {
  Recorder recorder;
  const Snmp::AutoRegistree registree(&recorder);
  Snmp::initNewRegistrations();
  Snmp::contextIs("");
  Snmp::contextIs("a");
  EXPECT_THAT(recorder.contexts, ElementsAre("", "a"));
  EXPECT_THAT(Snmp::contexts(), ElementsAre("", "a"));
}

TEST_F(Registration, WaitsForInitNewRegistrationsEvenWhenAContextComes) {
  Recorder recorder;
  const Snmp::AutoRegistree registree(&recorder);
  Snmp::contextIs("");
  EXPECT_THAT(recorder.contexts, IsEmpty());
  Snmp::initNewRegistrations();
  EXPECT_THAT(recorder.contexts, ElementsAre(""));
}

TEST_F(Registration, ALateOneLeavesTheOthersAlone) {
  Snmp::contextIs("");
  Recorder first;
  const Snmp::AutoRegistree firstRegistree(&first);
  Snmp::initNewRegistrations();
  Recorder late;
  const Snmp::AutoRegistree lateRegistree(&late);
  Snmp::initNewRegistrations();
  EXPECT_THAT(first.contexts, ElementsAre(""));
  EXPECT_THAT(late.contexts, ElementsAre(""));
}

TEST_F(Registration, IsForgottenWithItsRegistree) {
  Recorder gone;
  Recorder stays;
  auto goneRegistree = std::make_unique<Snmp::AutoRegistree>(&gone);
  const Snmp::AutoRegistree staysRegistree(&stays);
  Snmp::initNewRegistrations();
  goneRegistree.reset();
  Snmp::contextIs("");
  EXPECT_THAT(gone.contexts, IsEmpty());
  EXPECT_THAT(stays.contexts, ElementsAre(""));
}

TEST_F(Registration, AContextThatWentAndCameBackIsInitializedAgain) {
  Recorder recorder;
  const Snmp::AutoRegistree registree(&recorder);
  Snmp::initNewRegistrations();
  Snmp::contextIs("a");
  Snmp::contextDel("a");
  Snmp::contextDel("a");
  EXPECT_THAT(Snmp::contexts(), IsEmpty());
  Snmp::contextIs("a");
  EXPECT_THAT(recorder.contexts, ElementsAre("a", "a"));
}

TEST_F(Registration, AContextThatComesWhileOneIsInitializedIsSeenOnce) {
  Snmp::contextIs("a");
  Recorder recorder;
  recorder.action = [](const Qel::String8&) { Snmp::contextIs("z"); };
  const Snmp::AutoRegistree registree(&recorder);
  Snmp::initNewRegistrations();
  EXPECT_THAT(recorder.contexts, ElementsAre("a", "z"));
}

TEST_F(Registration, ARegistrationThatComesWhileOneIsInitializedIsNotLost) {
  for (const bool late : {false, true}) {
    Recorder first;
    std::vector<std::unique_ptr<Recorder>> others;
    std::vector<std::unique_ptr<Snmp::AutoRegistree>> registrees;
    first.action = [&](const Qel::String8&) {
      for (int i = 0; i < 100; ++i) {
        others.push_back(std::make_unique<Recorder>());
        registrees.push_back(std::make_unique<Snmp::AutoRegistree>(others.back().get()));
      }
    };
    const Snmp::AutoRegistree registree(&first);
    if (late) Snmp::initNewRegistrations();
    Snmp::contextIs("a");
    Snmp::initNewRegistrations();
    EXPECT_THAT(first.contexts, ElementsAre("a"));
    ASSERT_EQ(others.size(), 100U);
    for (const auto& other : others) EXPECT_THAT(other->contexts, ElementsAre("a"));
    Snmp::contextDel("a");
  }
}

TEST_F(Registration, MibModulesAreKeptByContext) {
  Snmp::registerMibContext("", "ACL");
  Snmp::registerMibContext("", "OTHER");
  Snmp::registerMibContext("", "ACL");
  Snmp::registerMibContext("b", "ACL");
  EXPECT_THAT(Snmp::mibContexts(),
              ElementsAre(Pair("", ElementsAre("ACL", "OTHER")), Pair("b", ElementsAre("ACL"))));
  Snmp::unregisterMibContext("", "ACL");
  Snmp::unregisterMibContext("", "NONE");
  Snmp::unregisterMibContext("c", "ACL");
  EXPECT_THAT(Snmp::mibContexts(),
              ElementsAre(Pair("", ElementsAre("OTHER")), Pair("b", ElementsAre("ACL"))));
  Snmp::unregisterMibContext("", "OTHER");
  EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair("b", ElementsAre("ACL"))));
  Snmp::unregisterMibContext("b", "ACL");
}

TEST_F(Registration, PathsStartAtTheMountPoint) {
  EXPECT_EQ(SnmpUtil::getEntityRelative("snmp/acl"), nullptr);
  const auto root = Qel::make<Qel::Dir>();
  const auto acl = root->dirIs("snmp/acl");
  Snmp::mountPointIs(root);
  EXPECT_EQ(SnmpUtil::getEntityRelative("snmp/acl"), acl);
  EXPECT_EQ(SnmpUtil::getEntityRelative("snmp/none"), nullptr);
  Snmp::mountPointIs(root->dirIs("snmp"));
  EXPECT_EQ(SnmpUtil::getEntityRelative("acl"), acl);
  Snmp::mountPointIs(nullptr);
  EXPECT_EQ(SnmpUtil::getEntityRelative("acl"), nullptr);
}

}  // namespace
