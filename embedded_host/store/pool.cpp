#include "embedded_host/store/pool.h"

#include <pthread.h>

#include <new>
#include <stdexcept>

#include "embedded_host/store/failure.h"
#include "embedded_host/store/state_file.h"

namespace quelt {

namespace {

using std::chrono::steady_clock;

/// Limits file descriptors: each connection uses three. Further threads wait for a connection.
constexpr std::size_t kMaxConnections = 64;

/// Whether this thread holds a connection or blocks forks.
thread_local bool in_use_here = false;

Pool* the_pool = nullptr;

/// Runs at load time: with creation at first use, a fork could find the pool half constructed.
__attribute__((constructor)) void CreatePool() {
  the_pool = new Pool;
  pthread_atfork([] { the_pool->BeforeFork(); }, [] { the_pool->AfterForkInParent(); },
                 [] { the_pool->AfterForkInChild(); });
}

}  // namespace

Pool& ConnectionPool() { return *the_pool; }

bool Pool::InUseHere() { return in_use_here; }

const StorePlace& Pool::place() {
  const std::lock_guard lock(mutex_);
  return PlaceLocked();
}

const StorePlace& Pool::PlaceLocked() {
  if (!place_) {
    place_ = ReadStorePlace();
    // A database in memory exists in one connection only.
    max_in_use_ = place_->in_memory() ? 1 : kMaxConnections;
    idle_.reserve(max_in_use_);
  }
  return *place_;
}

std::unique_ptr<Connection> Pool::Acquire(Use use) {
  if (in_use_here) {
    throw std::logic_error("An operation of the embedded host was started inside another");
  }
  std::unique_ptr<Connection> connection;
  std::optional<steady_clock::time_point> deadline;
  {
    std::unique_lock lock(mutex_);
    PlaceLocked();
    deadline = Wait(lock, use);
    ++in_use_;
    writing_ = writing_ || use == Use::kWrite;
    connection = PopIdle();
  }
  in_use_here = true;
  try {
    if (connection != nullptr && !IsSameFile(*connection, use == Use::kWrite)) {
      connection = nullptr;
    }
    if (connection == nullptr) {
      connection = OpenState(*place_);
    }
  } catch (...) {
    Release(nullptr, use);
    throw;
  }
  connection->SetBusyDeadline(deadline);
  return connection;
}

void Pool::Release(std::unique_ptr<Connection> connection, Use use) noexcept {
  in_use_here = false;
  const std::lock_guard lock(mutex_);
  --in_use_;
  writing_ = writing_ && use != Use::kWrite;
  // A connection that failed to roll back is closed; closing rolls it back.
  if (connection != nullptr && !connection->InTransaction()) {
    idle_.push_back(std::move(connection));
  }
  if (waiting_ > 0) {
    changed_.notify_all();
  }
}

std::optional<steady_clock::time_point> Pool::Wait(std::unique_lock<std::mutex>& lock, Use use) {
  const auto free = [&] {
    return forks_ == 0 && in_use_ < max_in_use_ && !(writing_ && use == Use::kWrite);
  };
  if (free()) {
    return std::nullopt;
  }
  const steady_clock::time_point deadline = steady_clock::now() + place_->busyTimeout;
  ++waiting_;
  const bool freed = changed_.wait_until(lock, deadline, free);
  --waiting_;
  if (!freed) {
    ThrowTimeout(*place_, use == Use::kWrite ? kOtherWriter : kFreeConnection);
  }
  return deadline;
}

std::unique_ptr<Connection> Pool::PopIdle() {
  if (idle_.empty()) {
    return nullptr;
  }
  std::unique_ptr<Connection> connection = std::move(idle_.back());
  idle_.pop_back();
  return connection;
}

void Pool::BlockForks() {
  std::unique_lock lock(mutex_);
  ++waiting_;
  changed_.wait(lock, [&] { return forks_ == 0; });
  --waiting_;
  ++fork_blockers_;
  in_use_here = true;
}

void Pool::AllowForks() noexcept {
  in_use_here = false;
  const std::lock_guard lock(mutex_);
  --fork_blockers_;
  if (waiting_ > 0) {
    changed_.notify_all();
  }
}

void Pool::BeforeFork() {
  std::unique_lock lock(mutex_);
  ++forks_;
  ++waiting_;
  changed_.wait(lock, [&] { return in_use_ == 0 && fork_blockers_ == 0; });
  --waiting_;
  if (place_ && !place_->in_memory()) {
    idle_.clear();
  }
  lock.release();
}

void Pool::AfterForkInParent() {
  --forks_;
  changed_.notify_all();
  mutex_.unlock();
}

void Pool::AfterForkInChild() {
  // The parent's waiting threads don't exist in the child. Replace the condition variable: its
  // destructor would wait for them.
  new (&changed_) std::condition_variable;
  idle_.clear();
  waiting_ = 0;
  forks_ = 0;
  mutex_.unlock();
}

}  // namespace quelt
