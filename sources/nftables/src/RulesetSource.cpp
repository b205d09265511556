#include "nftables/RulesetSource.h"

#include "RulesetReader.h"

namespace Sources::Nftables {

namespace {

/// How often it is looked whether a reading takes too long.
constexpr Qel::Seconds kWatch = 1;

}  // namespace

RulesetSource::RulesetSource(const Mount& mount, std::string name, Qel::Seconds interval)
    : ReadingSource(mount, std::move(name), "nftables", std::make_unique<RulesetReader>(interval)),
      watchdog_(Qel::make<Mek::Task>(mount.scheduler, Applier::kPriority,
                                     Qel::String8("source " + this->name() + " watchdog"),
                                     [this] { watch(); })) {}

RulesetSource::~RulesetSource() { watchdog_->unschedule(); }

void RulesetSource::start() {
  ReadingSource::start();
  watch();
}

void RulesetSource::watch() {
  static_cast<RulesetReader&>(reader()).watch();
  watchdog_->scheduleAfter(kWatch);
}

}  // namespace Sources::Nftables
