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
  // The kind may come from a newer version of the tool: use the closest known one.
  return found == kKindNames.end() ? Fault::Kind::kRefuse
                                   : static_cast<Fault::Kind>(found - kKindNames.begin());
}

/// The columns kind, message, delay, after and times of the current row, from column `first`.
Fault ReadFault(const Rows& rows, int first) {
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
  return rows.Next() ? std::optional(ReadFault(rows, 0)) : std::nullopt;
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

struct CountedCall {
  std::optional<Fault> fault;  ///< that applies to the call
  bool removed = false;        ///< this was the last call that the fault applies to
};

CountedCall CountCall(Connection& db, const std::string& operation) {
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
      faults.emplace_back(rows.Text(0), ReadFault(rows, 1));
    }
    return faults;
  });
}

std::optional<Fault> NextFault(OperationId operation) {
  const std::string name(operation.name());
  // Most faults apply until they are healed: no count has to be written.
  std::optional<Fault> fault =
      Store::Instance().Read([&](Connection& db) { return FindFault(db, name); });
  if (!fault || (fault->after == 0 && !fault->times)) {
    return fault;
  }
  const CountedCall call =
      Store::Instance().Write([&](Connection& db) { return CountCall(db, name); });
  if (call.removed) {
    InvalidateSwitches();
  }
  return call.fault;
}

}  // namespace quelt
