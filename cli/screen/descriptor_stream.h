// Bytes on their way to a file descriptor. Unlike the standard's file streams it keeps the reason
// why writing failed.
//
// Lifetime: owns the descriptor. Threading: one thread.
#pragma once

#include <array>
#include <ostream>
#include <streambuf>

namespace kelvane::cli {

class DescriptorStream final : public std::ostream {
 public:
  DescriptorStream() : std::ostream(nullptr) { rdbuf(&buffer_); }
  ~DescriptorStream() override;
  DescriptorStream(const DescriptorStream&) = delete;
  DescriptorStream& operator=(const DescriptorStream&) = delete;

  // To be called once, before anything is written.
  void take(int descriptor) { buffer_.descriptor = descriptor; }
  int descriptor() const { return buffer_.descriptor; }
  // Why writing failed first, as errno; 0: it did not.
  int error() const { return buffer_.error; }
  // The same behind the writing of all that is left.
  int finish();
  // What closing it says, as errno.
  int close();

 private:
  struct Buffer final : std::streambuf {
    Buffer() { setp(bytes.data(), bytes.data() + bytes.size()); }
    int_type overflow(int_type byte) override;
    int sync() override { return drain() ? 0 : -1; }
    bool drain();

    int descriptor = -1, error = 0;
    std::array<char, 1 << 16> bytes;
  };

  Buffer buffer_;
};

}  // namespace kelvane::cli
