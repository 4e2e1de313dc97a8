#include "drivers/odbc/silent_connection.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace kelvane::odbc {
namespace {

using std::chrono::milliseconds;

// Both ends of a connection in this process.
std::array<int, 2> connected(int family) {
  std::array<int, 2> ends{-1, -1};
  if (family == AF_UNIX) {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return ends;
  }
  const int listening = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{
      .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
  auto* const at = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  EXPECT_EQ(bind(listening, at, size), 0);
  EXPECT_EQ(listen(listening, 1), 0);
  EXPECT_EQ(getsockname(listening, at, &size), 0);
  ends[0] = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect(ends[0], at, size), 0);
  ends[1] = accept(listening, nullptr, nullptr);
  close(listening);
  return ends;
}

ssize_t readByte(int descriptor) {
  char byte = 0;
  return recv(descriptor, &byte, 1, 0);
}

ssize_t pollThenRead(int descriptor) {
  std::array<pollfd, 2> polled{{{-1, POLLIN, 0}, {descriptor, POLLIN, 0}}};
  poll(polled.data(), polled.size(), -1);
  return readByte(descriptor);
}

// A wait at one end of a connection.
class Wait {
 public:
  Wait(int family, ssize_t (*function)(int)) : ends_(connected(family)) {
    std::promise<pid_t> thread;
    outcome_ = std::async(std::launch::async, [this, function, &thread] {
      thread.set_value(thisThread());
      return function(ends_[0]);
    });
    thread_ = thread.get_future().get();
  }
  ~Wait() {
    for (const int end : ends_) close(end);
  }
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;

  // Tries it for some time: the thread may still be on its way to wait.
  bool ends(std::chrono::milliseconds silence) const {
    for (int i = 0; i < 200; ++i) {
      if (const auto connection = SilentConnection::ofWait(thread_, silence)) {
        connection->end();
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }
  void send() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  ssize_t outcome() { return outcome_.get(); }

 private:
  std::array<int, 2> ends_;
  std::future<ssize_t> outcome_;
  pid_t thread_ = 0;
};

TEST(SilentConnection, EndsAsIfTheServerHadClosedIt) {
  for (const auto function : {readByte, pollThenRead}) {
    Wait wait(AF_INET, function);
    EXPECT_FALSE(wait.ends(std::chrono::hours(1)));
    EXPECT_TRUE(wait.ends(std::chrono::milliseconds(0)));
    EXPECT_EQ(wait.outcome(), 0);
  }
}

TEST(SilentConnection, IsOneOfTcp) {
  Wait wait(AF_UNIX, pollThenRead);
  EXPECT_FALSE(wait.ends(std::chrono::milliseconds(0)));
  wait.send();
  EXPECT_EQ(wait.outcome(), 1);
  EXPECT_FALSE(wait.ends(std::chrono::milliseconds(0)));  // the thread is gone
}

}  // namespace
}  // namespace kelvane::odbc
