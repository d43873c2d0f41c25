#include "embedded_host/operation/faults.h"

#include <algorithm>
#include <array>

#include "embedded_host/operation/switches.h"

namespace quelt {

namespace {

/// In the order of Fault::Kind.
constexpr std::array<std::string_view, 8> kKindNames = {
    "delay",         "refuse",      "throw", "throw-standard",
    "throw-unknown", "throw-after", "kill",  "kill-after"};

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

struct StoredFault {
  std::int64_t position;
  Fault fault;
};

std::vector<StoredFault> FindFaults(Connection& db, const std::string& operation) {
  std::vector<StoredFault> faults;
  Rows rows = db.Query(
      "SELECT position, kind, message, delay, after, times FROM injected_fault WHERE operation = ? "
      "ORDER BY position",
      operation);
  while (rows.Next()) {
    faults.push_back({rows.Integer(0), ReadFault(rows, 1)});
  }
  return faults;
}

void PutFault(Connection& db, const std::string& operation, std::int64_t position,
              const Fault& fault) {
  constexpr const char* kPut =
      "INSERT OR REPLACE INTO injected_fault (operation, position, kind, message, delay, after, "
      "times) "
      "VALUES (?, ?, ?, ?, ?, ?, ?)";
  const std::string kind(KindName(fault.kind));
  if (fault.times) {
    db.Execute(kPut, operation, position, kind, fault.message, fault.delay.count(), fault.after,
               *fault.times);
  } else {
    db.Execute(kPut, operation, position, kind, fault.message, fault.delay.count(), fault.after,
               nullptr);
  }
}

void RemoveFaults(Connection& db, const std::string& operation) {
  db.Execute("DELETE FROM injected_fault WHERE operation = ?", operation);
}

struct CountedCall {
  std::optional<Fault> fault;  ///< that applies to the call
  bool removed = false;        ///< this was the last call that the fault applies to
};

CountedCall CountCall(Connection& db, const std::string& operation) {
  CountedCall call;
  for (auto& [position, fault] : FindFaults(db, operation)) {
    if (fault.after > 0) {
      --fault.after;
      PutFault(db, operation, position, fault);
    } else if (!call.fault) {
      call.fault = fault;
      if (!fault.times) {
        continue;
      }
      if (--*fault.times > 0) {
        PutFault(db, operation, position, fault);
      } else {
        db.Execute("DELETE FROM injected_fault WHERE operation = ? AND position = ?", operation,
                   position);
        call.removed = true;
      }
    }
  }
  return call;
}

}  // namespace

bool HasMessage(Fault::Kind kind) {
  return kind == Fault::Kind::kThrow || kind == Fault::Kind::kThrowStandard ||
         kind == Fault::Kind::kThrowAfter;
}

std::string_view KindName(Fault::Kind kind) { return kKindNames[static_cast<std::size_t>(kind)]; }

void SetFault(std::string_view operation, const Fault& fault) {
  ChangeSwitches([&](Connection& db) {
    RemoveFaults(db, std::string(operation));
    PutFault(db, std::string(operation), 0, fault);
  });
}

void AddFaults(const std::vector<NamedFault>& faults) {
  ChangeSwitches([&](Connection& db) {
    for (const auto& [operation, fault] : faults) {
      const std::vector<StoredFault> present = FindFaults(db, operation);
      PutFault(db, operation, present.empty() ? 0 : present.back().position + 1, fault);
    }
  });
}

void HealFault(std::string_view operation) {
  ChangeSwitches([&](Connection& db) { RemoveFaults(db, std::string(operation)); });
}

void HealAllFaults() {
  ChangeSwitches([](Connection& db) { db.Execute("DELETE FROM injected_fault"); });
}

std::vector<NamedFault> ListFaults() {
  return Store::Instance().Read([](Connection& db) {
    std::vector<NamedFault> faults;
    Rows rows = db.Query(
        "SELECT operation, kind, message, delay, after, times FROM injected_fault "
        "ORDER BY operation, position");
    while (rows.Next()) {
      faults.emplace_back(rows.Text(0), ReadFault(rows, 1));
    }
    return faults;
  });
}

std::optional<Fault> NextFault(OperationId operation) {
  const std::string name(operation.name());
  const std::vector<StoredFault> faults =
      Store::Instance().Read([&](Connection& db) { return FindFaults(db, name); });
  if (faults.empty()) {
    return std::nullopt;
  }
  // Most faults apply until they are healed: no count has to be written.
  if (const Fault& only = faults.front().fault;
      faults.size() == 1 && only.after == 0 && !only.times) {
    return only;
  }
  const CountedCall call =
      Store::Instance().Write([&](Connection& db) { return CountCall(db, name); });
  if (call.removed) {
    InvalidateSwitches();
  }
  return call.fault;
}

}  // namespace quelt
