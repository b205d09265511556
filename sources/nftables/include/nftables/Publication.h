#pragma once

/// Makes of each reading of the ruleset what is to be published: the names of ACLs, the sequence
/// numbers and identities of rules, and which counters changed since the reading before.
///
/// Used by one thread. It keeps no string that it has handed out.

#include <cstdint>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "apply/Source.h"
#include "nftables/Ruleset.h"
#include "snapshot/Snapshot.h"

namespace Sources::Nftables {

/// What came of one reading.
struct Update {
  /// Everything where rules came, went or changed; where they did not, the counters that did.
  std::variant<CounterChanges, Snapshot> content;
  /// How much is published, such as "3 ACLs, 20 rules, 4 remarks".
  std::string summary;
  /// Counters below what the same rule had counted before.
  size_t resets = 0;
  /// What is to be said now, each thing once.
  std::vector<std::pair<Severity, std::string>> lines;
};

class Publication {
 public:
  Publication();
  ~Publication();
  Publication(const Publication&) = delete;
  Publication& operator=(const Publication&) = delete;

  Update next(Ruleset ruleset);
  /// The last update was lost: the next one has everything.
  void lost() { first_ = true; }

 private:
  struct PublishedRule;
  struct PublishedChain;

  std::vector<PublishedChain> chainsOf(const Ruleset& ruleset, Update& update);
  void nameChains(std::vector<PublishedChain>& chains, Update& update);
  void numberRules(std::vector<PublishedChain>& chains, Update& update) const;
  bool isPublished(const std::vector<PublishedChain>& chains) const;
  CounterChanges changesTo(const std::vector<PublishedChain>& chains) const;
  void sayOnce(Update& update, Severity severity, const std::string& line);

  std::vector<PublishedChain> published_;
  std::string summary_;
  bool first_ = true;
  std::set<std::string> unshown_;
  std::set<std::string> said_;
};

}  // namespace Sources::Nftables
