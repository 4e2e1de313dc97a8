#include "support/tds_server/server.h"

#include <arpa/inet.h>
#include <cerrno>
#include <list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "support/tds_server/client_session.h"

namespace kelvane::tds {
namespace {

class FileDescriptor {
 public:
  explicit FileDescriptor(int number) : number_(number) {
    if (number_ < 0) throw std::system_error(errno, std::generic_category());
  }
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  ~FileDescriptor() {
    if (number_ >= 0) close(number_);
  }
  int operator*() const { return number_; }

 private:
  int number_;
};

void require(int result) {
  if (result < 0) throw std::system_error(errno, std::generic_category());
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A client and its socket.
class Connection {
 public:
  Connection(FileDescriptor socket, embedded::Server& server, const ServerOptions& options,
             std::size_t& batches)
      : socket_(std::move(socket)), client_(server, options, batches) {
    const int on = 1;
    setsockopt(*socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }

  pollfd wanted() {
    const bool sends = client_.busy() || !client_.output().empty();
    return {*socket_, static_cast<short>(POLLIN | (sends ? POLLOUT : 0)), 0};
  }
  /// False when the connection is over.
  bool serve(short events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !receive()) return false;
    client_.work();
    return send() && !(client_.ended() && client_.output().empty());
  }

 private:
  static bool mayTryAgain() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }
  bool receive() {
    char bytes[16384];
    const ssize_t length = recv(*socket_, bytes, sizeof bytes, 0);
    if (length <= 0) return length < 0 && mayTryAgain();
    client_.receive({bytes, static_cast<std::size_t>(length)});
    return true;
  }
  bool send() {
    std::string& output = client_.output();
    if (output.empty()) return true;
    const ssize_t length =
        ::send(*socket_, output.data() + sent_, output.size() - sent_, MSG_NOSIGNAL);
    if (length < 0) return mayTryAgain();
    sent_ += static_cast<std::size_t>(length);
    // Not a piece at a time: a long value would be moved for each of them.
    if (sent_ < output.size() / 2) return true;
    output.erase(0, sent_);
    sent_ = 0;
    return true;
  }

  FileDescriptor socket_;
  ClientSession client_;
  std::size_t sent_ = 0;  // of its output
};

}  // namespace

class TdsServer::Loop {
 public:
  Loop(embedded::EmbeddedCatalog& catalog, ServerOptions options)
      : server_(catalog.server()),
        options_(std::move(options)),
        stop_(eventfd(0, EFD_CLOEXEC)),
        listener_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    require(setsockopt(*listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on));
    sockaddr_in address = loopback(options_.port);
    socklen_t length = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    require(bind(*listener_, plain, length));
    require(listen(*listener_, SOMAXCONN));
    require(getsockname(*listener_, plain, &length));
    options_.port = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
  }
  ~Loop() {
    eventfd_write(*stop_, 1);
    thread_.join();
  }
  std::uint16_t port() const { return options_.port; }

 private:
  void run() {
    std::list<Connection> connections;
    for (;;) {
      std::vector<pollfd> polled = {{*stop_, POLLIN, 0}, {*listener_, POLLIN, 0}};
      for (Connection& connection : connections) polled.push_back(connection.wanted());
      if (poll(polled.data(), polled.size(), -1) < 0) continue;
      if (polled[0].revents != 0) return;
      std::size_t i = 2;
      std::erase_if(connections, [&](Connection& connection) {
        const short events = polled[i++].revents;
        return events != 0 && !connection.serve(events);
      });
      if (polled[1].revents == 0) continue;
      const int socket = accept4(*listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (socket >= 0) {
        connections.emplace_back(FileDescriptor(socket), server_, options_, batches_);
      }
    }
  }

  embedded::Server& server_;
  ServerOptions options_;
  FileDescriptor stop_;
  FileDescriptor listener_;
  std::size_t batches_ = 0;
  std::thread thread_;
};

TdsServer::TdsServer(embedded::EmbeddedCatalog& catalog, ServerOptions options)
    : loop_(std::make_unique<Loop>(catalog, std::move(options))) {}
TdsServer::~TdsServer() = default;

std::uint16_t TdsServer::port() const { return loop_->port(); }

}  // namespace kelvane::tds
