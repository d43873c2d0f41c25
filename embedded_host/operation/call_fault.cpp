#include "embedded_host/operation/call_fault.h"

#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <thread>

#include "platform/exception.h"

namespace quelt {

using HostCtl::Lib::Quelt::QueltCtlException;

namespace {

/// Thrown by Fault::Kind::kThrowUnknown; not a std::exception.
struct NonStandardException {};

[[noreturn]] void KillProcess(JournalEntry* entry, const char* when) noexcept {
  if (entry != nullptr) {
    entry->Killed(when);
  }
  kill(getpid(), SIGKILL);
  for (;;) {
    pause();  // the signal may reach another thread first
  }
}

}  // namespace

void CallFault::Begin(OperationId operation) {
  fault_ = NextFault(operation);
  if (!fault_) {
    return;
  }
  std::this_thread::sleep_for(fault_->delay);
  switch (fault_->kind) {
    case Fault::Kind::kThrow:
      throw QueltCtlException(fault_->message);
    case Fault::Kind::kThrowStandard:
      throw std::runtime_error(fault_->message);
    case Fault::Kind::kThrowUnknown:
      throw NonStandardException();
    case Fault::Kind::kKill:
      KillProcess(entry_, "before it took effect");
    case Fault::Kind::kNone:
    case Fault::Kind::kRefuse:
    case Fault::Kind::kThrowAfter:
    case Fault::Kind::kKillAfter:
      break;
  }
}

void CallFault::ThrowAfterEffect() const {
  if (fault_ && fault_->kind == Fault::Kind::kThrowAfter) {
    throw QueltCtlException(fault_->message);
  }
}

void CallFault::End() const noexcept {
  if (fault_->kind == Fault::Kind::kKillAfter) {
    KillProcess(entry_, "after it took effect");
  }
}

}  // namespace quelt
