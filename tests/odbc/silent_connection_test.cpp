#include "drivers/odbc/silent_connection.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "tests/odbc/servers.h"

namespace kelvane::odbc {
namespace {

// FreeTDS polls; this is how other drivers wait.
TEST(SilentConnection, EndsAsIfTheServerHadClosedIt) {
  kelvane::testing::SilentServer server;
  const int client = server.connectedSocket();
  std::promise<pid_t> started;
  std::future<ssize_t> received = std::async(std::launch::async, [&] {
    started.set_value(thisThread());
    char byte = 0;
    return recv(client, &byte, 1, 0);
  });
  const pid_t thread = started.get_future().get();
  constexpr std::chrono::milliseconds kNone{0};
  while (!SilentConnection::ofWait(thread, kNone)) std::this_thread::yield();
  EXPECT_FALSE(SilentConnection::ofWait(thread, std::chrono::hours(1)));
  SilentConnection::ofWait(thread, kNone).value().end();
  EXPECT_EQ(received.get(), 0);
  EXPECT_FALSE(SilentConnection::ofWait(thread, kNone));  // the thread is gone
  close(client);
}

}  // namespace
}  // namespace kelvane::odbc
