// What every operation of the embedded host goes through.
//
// An operation names itself and its arguments, says what it answers when it is refused, and gives a
// body that works on the store:
//
//   bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
//     return Operation("SetIloAuth", {{"first", first}, {"second", Secret(second)}})
//         .Write([&](Connection& db) { ...; return true; }, FailureAnswer(false));
//   }
//
// Faults and delays are applied before a connection is taken; the journal, when it is on, takes one
// after the operation has given its own back. A failure of the store reaches the caller as
// QueltCtlException, with the file and the reason.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "embedded_host/operation/argument.h"
#include "embedded_host/operation/journal.h"
#include "embedded_host/operation/operation_names.h"
#include "embedded_host/operation/switches.h"
#include "embedded_host/store/store.h"
#include "platform/exception.h"

namespace quelt {

/// What an operation answers when a fault refuses it.
template <typename Answer>
struct FailureAnswer {
  Answer answer;
  explicit FailureAnswer(Answer value) : answer(std::move(value)) {}
};

/// One call of an operation. Performed once: its arguments move to the journal.
class Operation {
 public:
  /// Reads the switches: throws QueltCtlException when the state can't be read.
  explicit Operation(OperationId id, std::initializer_list<Argument> arguments = {})
      : id_(id),
        switches_(CurrentSwitches()),
        arguments_(switches_.journal ? ArgumentsText(arguments) : std::nullopt) {}

  /// `body` runs one statement that changes nothing, or none at all.
  template <typename Body>
  auto Read(Body&& body) {
    return Perform([&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Read(Body&& body, FailureAnswer<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }

  /// `body` sees one unchanging state over several statements.
  template <typename Body>
  auto Snapshot(Body&& body) {
    return Perform([&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Snapshot(Body&& body, FailureAnswer<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }

  /// `body` changes the state: all of it is kept, durably, or none when it throws.
  template <typename Body>
  auto Write(Body&& body) {
    return Perform([&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Write(Body&& body, FailureAnswer<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }

  /// `body` does not touch the store.
  template <typename Body>
  auto Run(Body&& body) {
    return Perform(std::forward<Body>(body));
  }
  template <typename Body, typename Answer>
  Answer Run(Body&& body, FailureAnswer<Answer> refused) {
    return PerformOr(std::move(refused), std::forward<Body>(body));
  }

  /// For an answer at hand that is asked for very often: leaves no trace in the journal.
  template <typename Body, typename Answer>
  Answer RunWithoutJournal(Body&& body, FailureAnswer<Answer> refused) {
    return ApplyFaults() ? std::forward<Body>(body)() : std::move(refused.answer);
  }

 private:
  template <typename Body>
  auto Perform(Body&& body) {
    using Answer = std::invoke_result_t<Body>;
    const auto perform = [&]() -> Answer {
      if (!ApplyFaults()) {
        throw HostCtl::Lib::Quelt::QueltCtlException("The host refused " + std::string(id_.name()));
      }
      return std::forward<Body>(body)();
    };
    if (!arguments_) {
      return perform();
    }
    JournalEntry entry(id_, std::move(*arguments_));
    try {
      if constexpr (std::is_void_v<Answer>) {
        perform();
        entry.Answered();
      } else {
        Answer answer = perform();
        entry.Answered();
        return answer;
      }
    } catch (...) {
      entry.Threw();
      throw;
    }
  }

  template <typename Answer, typename Body>
  Answer PerformOr(FailureAnswer<Answer> refused, Body&& body) {
    bool admitted = true;
    const auto perform = [&]() -> Answer {
      admitted = ApplyFaults();
      return admitted ? std::forward<Body>(body)() : std::move(refused.answer);
    };
    if (!arguments_) {
      return perform();
    }
    JournalEntry entry(id_, std::move(*arguments_));
    try {
      Answer answer = perform();
      entry.Answered(answer, !admitted);
      return answer;
    } catch (...) {
      entry.Threw();
      throw;
    }
  }

  /// Applies the faults set for this operation: waits, throws, or answers false for a refusal.
  bool ApplyFaults() const;

  OperationId id_;
  const Switches switches_;
  std::optional<std::string> arguments_;  ///< for the journal; nothing when it is off
};

}  // namespace quelt
