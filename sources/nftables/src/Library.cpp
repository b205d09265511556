#include "Library.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <malloc.h>
#include <nftables/libnftables.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <set>

#include "qel/Descriptor.h"

namespace Sources::Nftables {

namespace {

/// Symbols keep their names: as numbers, the library writes EtherTypes in the machine's own octet
/// order. Contents of sets are left out.
constexpr unsigned kOutput = NFT_CTX_OUTPUT_JSON | NFT_CTX_OUTPUT_HANDLE | NFT_CTX_OUTPUT_TERSE |
                             NFT_CTX_OUTPUT_NUMERIC_PROTO | NFT_CTX_OUTPUT_NUMERIC_PRIO |
                             NFT_CTX_OUTPUT_NUMERIC_TIME;

bool isNetfilterSocket(int descriptor) {
  int domain = 0;
  int protocol = 0;
  socklen_t size = sizeof domain;
  if (getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0) return false;
  size = sizeof protocol;
  if (getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) != 0) return false;
  return domain == AF_NETLINK && protocol == NETLINK_NETFILTER;
}

std::set<int> netfilterSockets() {
  std::set<int> found;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
  if (folder == nullptr) return found;
  while (const dirent* entry = readdir(folder.get())) {
    const int descriptor = std::atoi(entry->d_name);
    if (descriptor > 0 && isNetfilterSocket(descriptor)) found.insert(descriptor);
  }
  return found;
}

/// The library ends the process when it cannot have a socket.
bool canHaveSocket() {
  return bool(Qel::Descriptor(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_NETFILTER)));
}

std::string firstLine(std::string_view text) {
  constexpr std::string_view kPrefix = "netlink: Error: ";
  if (text.substr(0, kPrefix.size()) == kPrefix) text.remove_prefix(kPrefix.size());
  return std::string(text.substr(0, text.find('\n')));
}

/// Where the listing of this thread goes on when the library gives up.
thread_local sigjmp_buf* giveUp = nullptr;

void handleAbort(int) {
  // Anybody else's abort goes its way.
  if (giveUp != nullptr) siglongjmp(*giveUp, 1);
}

enum class Listing { good, failed, gaveUp };

/// The library asserts that its JSON can be built, and it cannot where a name in the ruleset is no
/// UTF-8. That must not end the agent. Nothing here may have a destructor: it would not be run.
Listing runListing(nft_ctx* context) {
  struct sigaction action {};
  struct sigaction before {};
  sigjmp_buf place;
  action.sa_handler = handleAbort;
  sigaction(SIGABRT, &action, &before);
  Listing result = Listing::gaveUp;
  if (sigsetjmp(place, 1) == 0) {
    giveUp = &place;
    result =
        nft_run_cmd_from_buffer(context, "list ruleset") == 0 ? Listing::good : Listing::failed;
  }
  giveUp = nullptr;
  sigaction(SIGABRT, &before, nullptr);
  return result;
}

}  // namespace

Library::~Library() { close(); }

bool Library::open() {
  if (context_ != nullptr) return true;
  if (!canHaveSocket()) {
    error_ = "no netlink socket can be had";
    return false;
  }
  const std::set<int> before = netfilterSockets();
  context_ = nft_ctx_new(NFT_CTX_DEFAULT);
  if (context_ == nullptr) {
    error_ = "libnftables cannot be set up";
    return false;
  }
  nft_ctx_output_set_flags(context_, kOutput);
  const std::lock_guard lock(mutex_);
  for (const int descriptor : netfilterSockets()) {
    if (!before.contains(descriptor)) socket_ = descriptor;
  }
  return true;
}

void Library::close() {
  if (context_ == nullptr) return;
  release();
  const std::lock_guard lock(mutex_);
  socket_ = -1;
  nft_ctx_free(context_);
  context_ = nullptr;
}

/// What the library was doing when it gave up is left as it is, but for the socket.
void Library::abandon() {
  gaveUp_ = true;
  error_ = "libnftables gives up on it; a name in it may be no UTF-8";
  buffered_ = false;
  context_ = nullptr;
  const std::lock_guard lock(mutex_);
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
}

std::optional<std::string_view> Library::list() {
  broken_ = false;
  gaveUp_ = false;
  error_.clear();
  release();
  if (!open()) return std::nullopt;
  {
    const std::lock_guard lock(mutex_);
    broken_ = breaking_;
  }
  if (broken_) return std::nullopt;
  buffered_ = true;
  nft_ctx_buffer_output(context_);
  nft_ctx_buffer_error(context_);
  const Listing result = runListing(context_);
  if (result == Listing::gaveUp) {
    abandon();
    return std::nullopt;
  }
  {
    const std::lock_guard lock(mutex_);
    broken_ = breaking_;
  }
  // A listing that was broken off may look well and be half of one.
  if (result == Listing::good && !broken_) return nft_ctx_get_output_buffer(context_);
  error_ = broken_ ? "broken off" : firstLine(nft_ctx_get_error_buffer(context_));
  close();
  return std::nullopt;
}

void Library::release() {
  if (!buffered_) return;
  buffered_ = false;
  nft_ctx_unbuffer_output(context_);
  nft_ctx_unbuffer_error(context_);
  // A big listing takes many times what is published of it, and in small pieces.
  malloc_trim(0);
}

void Library::breakOff() {
  const std::lock_guard lock(mutex_);
  breaking_ = true;
  if (socket_ < 0) return;
  // The next call on the socket fails; the context closes what stands in its place.
  const Qel::Descriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  if (nothing) dup3(nothing.number(), socket_, O_CLOEXEC);
}

void Library::mend() {
  const std::lock_guard lock(mutex_);
  breaking_ = false;
}

}  // namespace Sources::Nftables
