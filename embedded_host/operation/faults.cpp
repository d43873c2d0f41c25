#include "embedded_host/operation/faults.h"

#include <algorithm>
#include <array>

#include "embedded_host/operation/switches.h"

namespace quelt {

namespace {

/// In the order of Fault::Kind.
constexpr std::array<std::string_view, 5> kKindNames = {"delay", "refuse", "throw",
                                                        "throw-standard", "throw-unknown"};

Fault::Kind KindNamed(const std::string& name) {
  const auto found = std::find(kKindNames.begin(), kKindNames.end(), name);
  // A kind that a newer tool knows: the nearest that this library can do.
  return found == kKindNames.end() ? Fault::Kind::kRefuse
                                   : static_cast<Fault::Kind>(found - kKindNames.begin());
}

/// The columns kind, message, delay, after, times of the present row.
Fault FaultIn(const Rows& rows, int first) {
  Fault fault;
  fault.kind = KindNamed(rows.Text(first));
  fault.message = rows.Text(first + 1);
  fault.delay = std::chrono::milliseconds(rows.Integer(first + 2));
  fault.after = rows.Integer(first + 3);
  if (!rows.IsNull(first + 4)) {
    fault.times = rows.Integer(first + 4);
  }
  return fault;
}

std::optional<Fault> FindFault(Connection& db, const std::string& operation) {
  Rows rows = db.Query("SELECT kind, message, delay, after, times FROM fault WHERE operation = ?",
                       operation);
  return rows.Next() ? std::optional(FaultIn(rows, 0)) : std::nullopt;
}

void PutFault(Connection& db, const std::string& operation, const Fault& fault) {
  constexpr const char* kPut =
      "INSERT OR REPLACE INTO fault (operation, kind, message, delay, after, times) "
      "VALUES (?, ?, ?, ?, ?, ?)";
  const std::string kind(KindName(fault.kind));
  if (fault.times) {
    db.Execute(kPut, operation, kind, fault.message, fault.delay.count(), fault.after,
               *fault.times);
  } else {
    db.Execute(kPut, operation, kind, fault.message, fault.delay.count(), fault.after, nullptr);
  }
}

void RemoveFault(Connection& db, const std::string& operation) {
  db.Execute("DELETE FROM fault WHERE operation = ?", operation);
}

/// What one counted call came to.
struct Count {
  std::optional<Fault> strikes;
  bool last = false;  ///< the fault is used up
};

Count CountCall(Connection& db, const std::string& operation) {
  std::optional<Fault> fault = FindFault(db, operation);
  if (!fault) {
    return {};
  }
  if (fault->after > 0) {
    --fault->after;
    PutFault(db, operation, *fault);
    return {};
  }
  if (!fault->times) {
    return {fault, false};
  }
  const bool last = --*fault->times <= 0;
  if (last) {
    RemoveFault(db, operation);
  } else {
    PutFault(db, operation, *fault);
  }
  return {fault, last};
}

}  // namespace

std::string_view KindName(Fault::Kind kind) { return kKindNames[static_cast<std::size_t>(kind)]; }

void SetFault(std::string_view operation, const Fault& fault) {
  ChangeSwitches([&](Connection& db) { PutFault(db, std::string(operation), fault); });
}

void HealFault(std::string_view operation) {
  ChangeSwitches([&](Connection& db) { RemoveFault(db, std::string(operation)); });
}

void HealAllFaults() {
  ChangeSwitches([](Connection& db) { db.Execute("DELETE FROM fault"); });
}

std::vector<NamedFault> ListFaults() {
  return Store::Instance().Read([](Connection& db) {
    std::vector<NamedFault> faults;
    Rows rows = db.Query(
        "SELECT operation, kind, message, delay, after, times FROM fault ORDER BY operation");
    while (rows.Next()) {
      faults.emplace_back(rows.Text(0), FaultIn(rows, 1));
    }
    return faults;
  });
}

std::optional<Fault> NextFault(OperationId operation) {
  const std::string name(operation.name());
  // Most faults last until they are healed: nothing is counted, nothing is written.
  std::optional<Fault> fault =
      Store::Instance().Read([&](Connection& db) { return FindFault(db, name); });
  if (!fault || (fault->after == 0 && !fault->times)) {
    return fault;
  }
  const Count count = Store::Instance().Write([&](Connection& db) { return CountCall(db, name); });
  if (count.last) {
    InvalidateSwitches();
  }
  return count.strikes;
}

}  // namespace quelt
