// The hooks and handlers of all nine tables, called as the agent library calls them, with indexes,
// columns and modes that are anything. What they answer must be what the rows say.

#include <algorithm>
#include <memory>
#include <optional>

#include "Chain.h"
#include "CpuLimit.h"
#include "Input.h"
#include "MibRequests.h"
#include "Require.h"
#include "qel/Trace.h"

namespace Fuzz {

namespace {

using MibTest::Batch;
using MibTest::Index;
using MibTest::TableCase;
using MibTest::Walk;

struct Model {
  Model() {
    chain.apply(exampleSnapshot());
    served = chain.served();
  }
  Chain chain;
  Served served;
};
Model& model() {
  static Model instance;
  return instance;
}

uint64_t numberIn(const netsnmp_variable_list* value) {
  return static_cast<uint64_t>(*value->val.integer);
}

/// One table under arbitrary calls, beside the plain list of its rows.
class Caller {
 public:
  Caller(Input& input, size_t table)
      : input_(input),
        table_(MibTest::tables()[table]),
        rows_(model().served[table]),
        walk_(table_, model().chain.mib()) {}

  void call() {
    switch (input_.choice(8)) {
      case 0:
        return expect(walk_.first(), 0);
      case 1: {
        Index hint;
        makeHint(hint);
        // Mostly as many as there are.
        const unsigned count = input_.choice(4) == 0 ? input_.octet() : made_;
        return expect(walk_.first(hint, count), matched(hint.head(), count));
      }
      case 2:
        return fromSubIdentifiers();
      case 3:
        return changeIndex();
      case 4:
      case 5:
        return next();
      case 6:
        return handle();
      default:
        position_.reset();
        standing_ = false;
        return walk_.end();
    }
  }

 private:
  size_t namePlace() const { return table_.hasTimeMark() ? 1 : 0; }

  void makeHint(Index& hint) {
    const std::vector<u_char> types = table_.indexTypes();
    made_ = input_.choice(4) == 0 ? input_.choice(6) : table_.indexes();
    const Row* row = rows_.empty() ? nullptr : &rows_[input_.octet() % rows_.size()];
    for (unsigned i = 0; i < made_; ++i) {
      const u_char type = i < types.size() ? types[i] : input_.octet();
      switch (row == nullptr ? 1 : input_.choice(8)) {
        case 0:
          addNothing(hint, input_.octet());
          break;
        case 1:
          addAny(hint, input_.octet());
          break;
        case 2:
          addAny(hint, type);
          break;
        default:
          if (type == ASN_OCTET_STR) {
            hint.name(row->name);
          } else {
            hint.number(type == ASN_UNSIGNED ? row->seqId : input_.number());
            lastOf(hint).type = type;
          }
      }
    }
  }

  static netsnmp_variable_list& lastOf(Index& index) {
    netsnmp_variable_list* last = index.head();
    while (last->next_variable != nullptr) last = last->next_variable;
    return *last;
  }

  /// A value that the type need not fit: the library makes none such by itself.
  void addAny(Index& index, u_char type) {
    if (input_.choice(2) == 0) {
      index.name(input_.octets());
    } else {
      index.number(input_.number());
    }
    lastOf(index).type = type;
  }
  static void addNothing(Index& index, u_char type) {
    index.number(0);
    lastOf(index).type = type;
    lastOf(index).val.string = nullptr;
  }

  /// The row that a hint names in full, or the first one.
  size_t matched(const netsnmp_variable_list* hint, unsigned count) const {
    if (count != table_.indexes()) return 0;
    if (table_.hasTimeMark() && hint != nullptr) hint = hint->next_variable;
    if (hint == nullptr || hint->type != ASN_OCTET_STR || hint->val.string == nullptr) return 0;
    const std::string name = MibTest::stringOf(hint);
    uint64_t seqId = 0;
    if (table_.hasSequence()) {
      hint = hint->next_variable;
      if (hint == nullptr || hint->type != ASN_UNSIGNED || hint->val.integer == nullptr) return 0;
      seqId = numberIn(hint);
    }
    const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) {
      return row.name == name && row.seqId == seqId;
    });
    return found == rows_.end() ? 0 : static_cast<size_t>(found - rows_.begin());
  }

  /// What the library makes of a request's sub-identifiers.
  void fromSubIdentifiers() {
    Index hint;
    hint.blank(table_);
    std::vector<oid> subIdentifiers;
    if (!rows_.empty() && input_.choice(2) == 0) {
      const Row& row = rows_[input_.octet() % rows_.size()];
      if (table_.hasTimeMark()) subIdentifiers.push_back(input_.number());
      subIdentifiers.push_back(row.name.size());
      for (const char c : row.name) subIdentifiers.push_back(static_cast<unsigned char>(c));
      if (table_.hasSequence()) subIdentifiers.push_back(row.seqId);
    }
    for (unsigned more = input_.choice(8); more > 0; --more) {
      subIdentifiers.push_back(input_.number());
    }
    if (!subIdentifiers.empty() && input_.choice(2) == 0) {
      subIdentifiers[input_.octet() % subIdentifiers.size()] = input_.number();
    }
    subIdentifiers.resize(std::min<size_t>(subIdentifiers.size(), MAX_OID_LEN));
    parse_oid_indexes(subIdentifiers.data(), subIdentifiers.size(), hint.head());
    expect(walk_.first(hint, table_.indexes()), matched(hint.head(), table_.indexes()));
  }

  /// The index argument: as many values as the table has index objects, each anything.
  void changeIndex() {
    walk_.index().clear();
    for (const u_char type : table_.indexTypes()) {
      switch (input_.choice(4)) {
        case 0:
          addNothing(walk_.index(), type);
          break;
        case 1:
          addAny(walk_.index(), input_.octet());
          break;
        default:
          if (type == ASN_OCTET_STR) {
            walk_.index().name(input_.octets());
          } else {
            walk_.index().number(markOrNumber(), type);
          }
      }
    }
    standing_ = false;
  }

  /// For a time mark, often one at the edge of what a row passes.
  uint64_t markOrNumber() {
    if (!table_.hasTimeMark() || rows_.empty() || input_.choice(2) == 0) return input_.number();
    return uint64_t{rows_[input_.octet() % rows_.size()].changed()} + input_.choice(5);
  }

  bool passes(const Row& row) {
    if (!table_.hasTimeMark()) return true;
    const netsnmp_variable_list* mark = walk_.index().head();
    const uint32_t value = mark->val.integer == nullptr ? 0 : static_cast<uint32_t>(numberIn(mark));
    return uint64_t{row.changed()} + 2 >= value;
  }

  /// The walk is on the first row from `position` on that passes the filter, or at its end.
  void expect(const netsnmp_variable_list* answer, size_t position) {
    while (position < rows_.size() && !passes(rows_[position])) ++position;
    position_ = position;
    standing_ = position < rows_.size();
    require(standing_ == (answer != nullptr), "a walk ends after the last row that passes");
    if (!standing_) return;
    const Row& row = rows_[position];
    std::string key = row.name;
    if (table_.hasSequence()) key += " " + std::to_string(row.seqId);
    require(walk_.row() == key, "a walk stands on the row that is next");
  }

  void next() {
    if (!position_) return;
    void* data = standing_ && input_.choice(2) == 0 ? walk_.makeData() : nullptr;
    const netsnmp_variable_list* answer = walk_.next(data == nullptr ? nullptr : &data);
    if (data != nullptr) walk_.freeData(data);
    expect(answer, std::min(*position_ + 1, rows_.size()));
  }

  void handle() {
    constexpr std::array<int, 6> kModes = {MODE_GET,          MODE_GETNEXT,    MODE_GETBULK,
                                           MODE_SET_RESERVE1, MODE_SET_COMMIT, -1};
    const unsigned form = input_.choice(12);
    const int mode = form < kModes.size() ? kModes[form] : MODE_GET;
    Batch batch(mode);
    struct Asked {
      const netsnmp_request_info* request;
      unsigned column;
      bool row;
    };
    std::vector<Asked> asked;
    for (unsigned count = input_.choice(5); count > 0; --count) {
      const auto column = static_cast<unsigned>(input_.number());
      const unsigned shape = standing_ ? input_.choice(4) : input_.choice(2);
      netsnmp_request_info& request = shape == 0   ? batch.add()
                                      : shape == 1 ? batch.add(column)
                                                   : batch.add(column, table_, walk_);
      // Another handler's: it is passed over.
      if (input_.choice(8) == 0) {
        request.processed = 1;
      } else {
        asked.push_back({&request, column, shape > 1});
      }
    }
    const int result = table_.handler(nullptr, nullptr, batch.info(), batch.head());
    require(result == SNMP_ERR_NOERROR, "no row has a value that cannot be served");
    if (mode != MODE_GET) {
      for (const Asked& a : asked) {
        require(a.request->requestvb->type == ASN_NULL, "only GET sets a value");
      }
      return;
    }
    for (const Asked& a : asked) {
      if (!a.row) return;  // the rest of the list is left alone
      const auto& cells = rows_[*position_].cells;
      const auto cell = cells.find(a.column);
      const netsnmp_variable_list* value = a.request->requestvb;
      if (cell == cells.end()) {
        require(value->type == SNMP_NOSUCHOBJECT, "an unknown column is no such object");
        return;
      }
      require(cell->second == Cell{value->type, MibTest::stringOf(value)},
              "a column gives what it gave before");
    }
  }

  Input& input_;
  const TableCase& table_;
  const std::vector<Row>& rows_;
  Walk walk_;
  unsigned made_ = 0;
  // Where the walk stands, from its start to its end; the end counts as a position.
  std::optional<size_t> position_;
  bool standing_ = false;
};

}  // namespace

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Fuzz;
  Model& served = model();
  const CpuLimit limit;
  Input input(data, size);
  const unsigned table = input.choice(18);
  // Traces show what came in, so they are a part of what it can harm.
  Qel::traceSettingsIs(table < 9 ? "Snmp=9" : "Snmp=0");
  {
    Caller caller(input, table % 9);
    while (!input.empty()) caller.call();
  }
  Qel::traceSettingsIs("Snmp=0");
  static unsigned runs = 0;
  if (++runs % 1024 == 0) {
    require(served.chain.served() == served.served, "what is served stays as it was");
  }
  return 0;
}
