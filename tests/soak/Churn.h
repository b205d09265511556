#pragma once

/// The changes of the soak. Several inputs write the ACL model at random: three of them its
/// entities directly, two by snapshots, all with the same few names, so that most ACLs have several
/// claimants.
///
/// Each change says which rows it may have taken away. During one epoch half of the ACLs are
/// steady: their objects, rules, remarks and counters change all the time, but no row of them goes.

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Presence.h"
#include "Random.h"
#include "Values.h"
#include "acl/Aggregator.h"
#include "acl/Status.h"
#include "apply/Applier.h"

namespace Soak {

/// Rules of all ACLs but the big one are fewer.
constexpr uint32_t kSmallAcl = 12;

class Churn {
 public:
  /// Rows of the ACL other than those left may be missing from now on.
  using Lost = std::function<void(const Key&, const Rows& left)>;

  Churn(const Sources::Mount& mount, const Qel::Ptr<Acl::AclConfigAggregatorSm>& aggregator,
        Random& random, uint32_t bigRules, Lost lost);

  /// Puts an ACL of every name and type into the inputs that are written by snapshots.
  void fill();
  /// Chooses the steady ACLs anew, whether there may be a big one (that of the last epoch goes),
  /// and whether inputs may be remounted, which takes the owner of many ACLs away.
  void epoch();
  /// Makes one step; most are one change, some are a few.
  void step();
  /// Takes every ACL and every status away.
  void clear();
  /// What is done with an ACL of the greatest size to learn how long one takes, in this order.
  enum class Trial {
    add,
    replace,
    revise,
    remove,
    addBySnapshot,
    reviseBySnapshot,
    removeBySnapshot
  };
  static constexpr std::array kTrials = {
      Trial::add,           Trial::replace,          Trial::revise,          Trial::remove,
      Trial::addBySnapshot, Trial::reviseBySnapshot, Trial::removeBySnapshot};
  void trial(Trial trial);

  /// The inputs in the order of their mounting.
  const std::vector<Qel::Name>& mounted() const { return mounted_; }
  /// Changes of the model so far.
  uint64_t changes() const { return changes_; }

 private:
  struct DirectAcl {
    Qel::Ptr<Acl::AclConfig> config;
    Qel::Ptr<Acl::AclSubConfig> current;
  };
  /// An input whose entities are written directly.
  struct Direct {
    Qel::Ptr<Acl::Input::Config> config;
    Qel::Ptr<Acl::Input::Status> status;
    std::map<Key, DirectAcl> acls;
    std::map<Key, Qel::Ptr<Acl::AclStatus>> statuses;
  };
  /// An input that is written by snapshots.
  struct Applied {
    Qel::Name name;
    Qel::Ptr<Sources::Applier> applier;
    Sources::Snapshot wanted;
  };

  Key anyKey();
  bool isBig(const Key& key) const { return key.second == bigName_ || key.second == trialName_; }
  Acl::UniqueId newId();
  uint32_t anySequence() { return 1 + random_.below(random_.oneIn(8) ? 0xFFFFFFFF : 12); }
  void removeEverywhere(const Key& key);
  void lost(const Key& key);
  Rows rowsOf(const Qel::Name& input, const Key& key) const;

  // Direct inputs.
  void directStep(Direct& input, const Key& key);
  void keepingStep(Direct& input, const Key& key, DirectAcl& acl);
  void takingStep(Direct& input, const Key& key, DirectAcl& acl);
  void addAcl(Direct& input, const Key& key);
  void replaceAcl(Direct& input, const Key& key, const Qel::Ptr<Acl::AclSubConfig>& version);
  void versionIs(DirectAcl& acl, const Qel::Ptr<Acl::AclSubConfig>& version);
  Qel::Ptr<Acl::AclSubConfig> newVersion(const Key& key);
  void ruleStep(const Key& key, Acl::AclSubConfig& version);
  void remarkStep(Acl::AclSubConfig& version);
  void swapForRemark(Acl::AclSubConfig& version);
  void statusStep(Direct& input, const Key& key);
  void countersStep(Direct& input, const Key& key);
  void remount(Direct& input);
  void unheardStep(Direct& input);
  void flagsStep();

  // Snapshots.
  void snapshotStep(Applied& input);
  Sources::AclSnapshot newSnapshot(const Key& key);
  Sources::RuleSnapshot newRule(const Key& key);
  void changeSnapshot(const Key& key, Sources::AclSnapshot& acl);

  Qel::Ptr<Qel::Dir> inputDir_;
  Qel::Ptr<Qel::Dir> statusDir_;
  Qel::Ptr<Acl::AclConfigAggregatorSm> aggregator_;
  Random& random_;
  uint32_t bigRules_;
  Lost lost_;
  std::vector<std::string> names_;
  std::string bigName_;
  std::string trialName_;
  std::vector<Direct> direct_;
  std::vector<Applied> applied_;
  std::vector<Qel::Name> mounted_;
  std::optional<Acl::AclType> bigType_;
  bool remounts_ = false;
  std::set<Key> steady_;
  uint32_t nextId_ = 0;
  uint64_t changes_ = 0;
};

}  // namespace Soak
