// Owns a file descriptor: its destructor closes it.
#pragma once

#include <unistd.h>

#include <utility>

namespace quelt {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    Close();
    number_ = std::exchange(other.number_, -1);
    return *this;
  }
  ~Descriptor() { Close(); }

  int get() const { return number_; }
  bool valid() const { return number_ >= 0; }
  void Close() {
    if (number_ >= 0) {
      close(std::exchange(number_, -1));
    }
  }

 private:
  int number_;
};

}  // namespace quelt
