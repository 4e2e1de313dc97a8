#include "drivers/odbc/silent_connection.h"

#include <arpa/inet.h>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace kelvane::odbc {
namespace {

// A client of a server that accepts nobody and says nothing.
class Client {
 public:
  Client() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const at = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(server_, at, size), 0);
    EXPECT_EQ(listen(server_, 1), 0);
    EXPECT_EQ(getsockname(server_, at, &size), 0);
    EXPECT_EQ(connect(client_, at, size), 0);
  }
  ~Client() {
    close(client_);
    close(server_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  ssize_t receive() const {
    char byte = 0;
    return recv(client_, &byte, 1, 0);
  }

 private:
  int server_ = socket(AF_INET, SOCK_STREAM, 0);
  int client_ = socket(AF_INET, SOCK_STREAM, 0);
};

// FreeTDS polls; this is how other drivers wait.
TEST(SilentConnection, EndsAsIfTheServerHadClosedIt) {
  const Client client;
  std::promise<pid_t> started;
  std::future<ssize_t> received = std::async(std::launch::async, [&] {
    started.set_value(thisThread());
    return client.receive();
  });
  const pid_t thread = started.get_future().get();
  constexpr std::chrono::milliseconds kNone{0};
  while (!SilentConnection::ofWait(thread, kNone)) std::this_thread::yield();
  EXPECT_FALSE(SilentConnection::ofWait(thread, std::chrono::hours(1)));
  SilentConnection::ofWait(thread, kNone).value().end();
  EXPECT_EQ(received.get(), 0);
  EXPECT_FALSE(SilentConnection::ofWait(thread, kNone));  // the thread is gone
}

}  // namespace
}  // namespace kelvane::odbc
