#include "cli/screen/descriptor_stream.h"

#include <cerrno>
#include <cstddef>
#include <unistd.h>
#include <utility>

namespace kelvane::cli {

DescriptorStream::~DescriptorStream() { close(); }

int DescriptorStream::finish() {
  flush();
  return error();
}

int DescriptorStream::close() {
  const int descriptor = std::exchange(buffer_.descriptor, -1);
  return descriptor < 0 || ::close(descriptor) == 0 ? 0 : errno;
}

DescriptorStream::Buffer::int_type DescriptorStream::Buffer::overflow(int_type byte) {
  if (!drain()) return traits_type::eof();
  return traits_type::eq_int_type(byte, traits_type::eof())
             ? traits_type::not_eof(byte)
             : sputc(traits_type::to_char_type(byte));
}

bool DescriptorStream::Buffer::drain() {
  for (const char* from = pbase(); error == 0 && from < pptr();) {
    const ssize_t length = ::write(descriptor, from, static_cast<std::size_t>(pptr() - from));
    if (length >= 0)
      from += length;
    else if (errno != EINTR)
      error = errno;
  }
  setp(bytes.data(), bytes.data() + bytes.size());
  return error == 0;
}

}  // namespace kelvane::cli
