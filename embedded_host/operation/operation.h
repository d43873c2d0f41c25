// Runs the operations of the embedded host: each call applies faults, accesses the store and is
// recorded in the journal.
//
// An operation passes its name, its arguments, a body that works on the store, and the answer with
// which it reports a failure:
//
//   bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
//     return Operation("SetIloAuth", {{"first", first}, {"second", Secret(second)}})
//         .Write([&](Connection& db) { ...; return true; }, FailureAnswer(false));
//   }
//
// Faults and delays are applied before the body's connection is acquired. When the journal is on,
// its record is written after the body's connection has been released. Failures of the store are
// thrown as QueltCtlException with the file and the reason.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "embedded_host/operation/argument.h"
#include "embedded_host/operation/call_fault.h"
#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/operation_names.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/store/store.h"
#include "platform/exception.h"

namespace quelt {

/// What an operation returns when a fault makes it fail without an exception
/// (Fault::Kind::kRefuse).
template <typename Answer>
struct FailureAnswer {
  Answer answer;
  explicit FailureAnswer(Answer value) : answer(std::move(value)) {}
};

/// One call of an operation. Run it once: that moves the arguments to the journal.
class Operation {
 public:
  /// Reads the switches. Throws QueltCtlException when the state can't be read.
  explicit Operation(OperationId id, std::initializer_list<Argument> arguments = {})
      : id_(id),
        switches_(CurrentSwitches()),
        arguments_(switches_.journal ? ArgumentsText(arguments) : std::nullopt) {}

  /// `body` runs at most one statement, which changes nothing.
  template <typename Body>
  auto Read(Body&& body) {
    return Perform([&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Read(Body&& body, FailureAnswer<Answer> failure) {
    return PerformOr(std::move(failure),
                     [&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }

  /// `body` runs several statements on one consistent state and changes nothing.
  template <typename Body>
  auto Snapshot(Body&& body) {
    return Perform([&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Snapshot(Body&& body, FailureAnswer<Answer> failure) {
    return PerformOr(std::move(failure),
                     [&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }

  /// `body` changes the state in one durable transaction; rolled back when it throws.
  template <typename Body>
  auto Write(Body&& body) {
    return Perform([&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Write(Body&& body, FailureAnswer<Answer> failure) {
    return PerformOr(std::move(failure),
                     [&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }

  /// `body` does not touch the store.
  template <typename Body>
  auto Run(Body&& body) {
    return Perform(std::forward<Body>(body));
  }
  template <typename Body, typename Answer>
  Answer Run(Body&& body, FailureAnswer<Answer> failure) {
    return PerformOr(std::move(failure), std::forward<Body>(body));
  }

  /// For cached values that scripts read very often: applies faults, but writes no journal record.
  template <typename Body, typename Answer>
  Answer RunWithoutJournal(Body&& body, FailureAnswer<Answer> failure) {
    const CallFault fault(id_, switches_, nullptr);
    return fault.Refuses() ? std::move(failure.answer) : Complete(std::forward<Body>(body), fault);
  }

 private:
  template <typename Body>
  auto Perform(Body&& body) {
    using Answer = std::invoke_result_t<Body>;
    const auto perform = [&](JournalEntry* entry) -> Answer {
      const CallFault fault(id_, switches_, entry);
      if (fault.Refuses()) {
        throw HostCtl::Lib::Quelt::QueltCtlException("The host refused " + std::string(id_.name()));
      }
      return Complete(std::forward<Body>(body), fault);
    };
    if (!arguments_) {
      return perform(nullptr);
    }
    JournalEntry entry(id_, std::move(*arguments_));
    try {
      if constexpr (std::is_void_v<Answer>) {
        perform(&entry);
        entry.Answered();
      } else {
        Answer answer = perform(&entry);
        entry.Answered();
        return answer;
      }
    } catch (...) {
      entry.Threw();
      throw;
    }
  }

  template <typename Answer, typename Body>
  Answer PerformOr(FailureAnswer<Answer> failure, Body&& body) {
    bool refused = false;
    const auto perform = [&](JournalEntry* entry) -> Answer {
      const CallFault fault(id_, switches_, entry);
      refused = fault.Refuses();
      return refused ? std::move(failure.answer) : Complete(std::forward<Body>(body), fault);
    };
    if (!arguments_) {
      return perform(nullptr);
    }
    JournalEntry entry(id_, std::move(*arguments_));
    try {
      Answer answer = perform(&entry);
      entry.Answered(answer, refused);
      return answer;
    } catch (...) {
      entry.Threw();
      throw;
    }
  }

  template <typename Body>
  static auto Complete(Body&& body, const CallFault& fault) {
    if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
      std::forward<Body>(body)();
      fault.ThrowAfterEffect();
    } else {
      auto answer = std::forward<Body>(body)();
      fault.ThrowAfterEffect();
      return answer;
    }
  }

  OperationId id_;
  const Switches switches_;
  std::optional<std::string> arguments_;  ///< for the journal; std::nullopt when it is off
};

}  // namespace quelt
