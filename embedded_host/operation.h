// What every operation of the embedded host goes through.
//
// An operation names itself and its arguments, says what it answers when it is refused, and gives a
// body that works on the store:
//
//   bool QueltConfigStore::SetIloAuth(const std::string& first, const std::string& second) {
//     return Operation("SetIloAuth", {{"first", first}, {"second", Secret(second)}})
//         .Write([&](Connection& db) { ...; return true; }, Refused(false));
//   }
//
// Faults and delays are applied before a connection is taken. A failure of the store reaches the
// caller as QueltCtlException, with the file and the reason.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "embedded_host/operation_names.h"
#include "embedded_host/store/store.h"
#include "platform/exception.h"

namespace quelt {

/// Key material or a password among the arguments: only its length is ever recorded.
struct Secret {
  explicit Secret(std::string_view text) : bytes(text.size()) {}
  explicit Secret(std::size_t length) : bytes(length) {}
  std::size_t bytes;
};

/// One argument by name. Refers to the caller's value.
struct Argument {
  std::string_view name;
  std::variant<std::string_view, std::int64_t, bool, Secret> value;
};

/// What an operation answers when a fault refuses it.
template <typename Answer>
struct Refused {
  Answer answer;
  explicit Refused(Answer value) : answer(std::move(value)) {}
};

/// One running operation. Lives for one full expression.
class Operation {
 public:
  explicit Operation(OperationId id, std::initializer_list<Argument> arguments = {})
      : id_(id), arguments_(arguments) {}

  /// `body` runs one statement that changes nothing, or none at all.
  template <typename Body>
  auto Read(Body&& body) {
    return Perform([&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Read(Body&& body, Refused<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Read(std::forward<Body>(body)); });
  }

  /// `body` sees one unchanging state over several statements.
  template <typename Body>
  auto Snapshot(Body&& body) {
    return Perform([&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Snapshot(Body&& body, Refused<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Snapshot(std::forward<Body>(body)); });
  }

  /// `body` changes the state: all of it is kept, durably, or none when it throws.
  template <typename Body>
  auto Write(Body&& body) {
    return Perform([&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }
  template <typename Body, typename Answer>
  Answer Write(Body&& body, Refused<Answer> refused) {
    return PerformOr(std::move(refused),
                     [&] { return Store::Instance().Write(std::forward<Body>(body)); });
  }

  /// `body` does not touch the store.
  template <typename Body>
  auto Run(Body&& body) {
    return Perform(std::forward<Body>(body));
  }
  template <typename Body, typename Answer>
  Answer Run(Body&& body, Refused<Answer> refused) {
    return PerformOr(std::move(refused), std::forward<Body>(body));
  }

 private:
  template <typename Body>
  auto Perform(Body&& body) {
    if (!Admit()) {
      throw HostCtl::Lib::Quelt::QueltCtlException("The host refused " + std::string(id_.name()));
    }
    return std::forward<Body>(body)();
  }

  template <typename Answer, typename Body>
  Answer PerformOr(Refused<Answer> refused, Body&& body) {
    return Admit() ? std::forward<Body>(body)() : std::move(refused.answer);
  }

  /// Applies the faults set for this operation: waits, throws, or answers false for a refusal.
  bool Admit();

  OperationId id_;
  std::initializer_list<Argument> arguments_;
};

}  // namespace quelt
