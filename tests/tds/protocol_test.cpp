// What the server sends, byte by byte, to a client that does what others cannot be made to do.

#include <arpa/inet.h>
#include <array>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "drivers/embedded/connection.h"
#include "support/tds_server/columns.h"
#include "support/tds_server/server.h"
#include "support/tds_server/wire.h"
#include "tests/tds/test_catalog.h"

namespace kelvane::tds {
namespace {

using embedded::EmbeddedCatalog;

class RawClient {
 public:
  explicit RawClient(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string record(568, '\0');
    record[458] = 5;
    send(PacketType::login, record);
    receive();
  }
  ~RawClient() { close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  void ask(const std::string& batch) {
    TokenBytes request;
    request.byte(0x21);
    request.doubleWord(batch.size() + 1);
    request.byte(0);
    send(PacketType::request, request.bytes + batch);
  }
  void send(PacketType type, const std::string& payload) {
    const std::size_t length = payload.size() + kPacketHeader;
    std::string packet(kPacketHeader, '\0');
    packet[0] = static_cast<char>(type);
    packet[1] = 1;
    packet[2] = static_cast<char>(length >> 8);
    packet[3] = static_cast<char>(length & 0xFF);
    packet += payload;
    EXPECT_EQ(::send(socket_, packet.data(), packet.size(), 0),
              static_cast<ssize_t>(packet.size()));
  }
  // The payload of the next message; empty when the server has closed the connection.
  std::string receive() {
    for (;;) {
      if (auto message = reader_.next()) return message->payload;
      char bytes[4096];
      const ssize_t length = recv(socket_, bytes, sizeof bytes, 0);
      if (length <= 0) return "";
      reader_.append({bytes, static_cast<std::size_t>(length)});
    }
  }

  std::size_t countToTheEnd() {
    std::size_t count = 0;
    char bytes[4096];
    for (ssize_t length; (length = recv(socket_, bytes, sizeof bytes, 0)) > 0;) {
      count += static_cast<std::size_t>(length);
    }
    return count;
  }

 private:
  int socket_;
  PacketReader reader_;
};

// The status of the DONE that a message ends in.
int lastStatus(const std::string& message) {
  constexpr std::size_t kDoneLength = 9;
  if (message.size() < kDoneLength) return -1;
  EXPECT_EQ(message[message.size() - kDoneLength], '\xFD');
  return static_cast<unsigned char>(message[message.size() - kDoneLength + 1]);
}

std::string wideTable() {
  std::string script = "create table t (a char(200) not null)\ngo\n";
  for (int i = 0; i < 1000; ++i) script += "insert t values ('x')\n";
  return script + "go\n";
}

TEST(TdsProtocol, EndsRowsWhenTheyAreCancelledAndServesOthersMeanwhile) {
  EmbeddedCatalog catalog = catalogOf(wideTable());
  const TdsServer server(catalog);
  RawClient client(server.port()), other(server.port());
  client.ask("select a.a, b.a, c.a from t a, t b, t c");  // 600 GB
  other.ask("select 1");
  EXPECT_EQ(lastStatus(other.receive()), 0x10);
  client.send(PacketType::attention, "");
  EXPECT_EQ(lastStatus(client.receive()), 0x20);
  client.ask("select 1");
  EXPECT_EQ(lastStatus(client.receive()), 0x10);
  client.send(PacketType::attention, "");  // too late for anything
  EXPECT_EQ(lastStatus(client.receive()), 0x20);
}

// tsql shows them to the minute.
TEST(TdsProtocol, SendsMomentsToTheirLastDigit) {
  struct MomentCase {
    const char* type;
    const char* value;
    std::string_view bytes;
  };
  using namespace std::string_view_literals;
  constexpr std::array kMoments = {
      MomentCase{"datetime", "1900-01-02 00:00:00.003", "\1\0\0\0\1\0\0\0"sv},
      MomentCase{"datetime", "9999-12-31 23:59:59.997", "\x7F\x24\x2D\0\xFF\x81\x8B\1"sv},
      MomentCase{"smalldatetime", "1900-01-03 01:01", "\2\0\x3D\0"sv},
      MomentCase{"date", "1899-12-31", "\xFF\xFF\xFF\xFF"sv},
      MomentCase{"time", "00:00:00.010", "\3\0\0\0"sv},
      MomentCase{"bigdatetime", "0001-01-01 00:00:00.000001", "\x08\x01\x40\xEB\xA9\xC2\x1C\0\0"sv},
      MomentCase{"bigtime", "00:00:00.000002", "\x08\2\0\0\0\0\0\0\0"sv},
  };
  std::string script;
  for (std::size_t i = 0; i < kMoments.size(); ++i) {
    const std::string table = "t" + std::to_string(i);
    script += "create table " + table + " (a " + kMoments[i].type + " not null)\ninsert " + table +
              " values ('" + kMoments[i].value + "')\n";
  }
  EmbeddedCatalog catalog = catalogOf(script + "go\n");
  const TdsServer server(catalog);
  RawClient client(server.port());
  for (std::size_t i = 0; i < kMoments.size(); ++i) {
    client.ask("select a from t" + std::to_string(i));
    const std::string message = client.receive(), row = "\xD1" + std::string(kMoments[i].bytes);
    constexpr std::size_t kDoneLength = 9;
    ASSERT_GT(message.size(), row.size() + kDoneLength);
    EXPECT_EQ(message.substr(message.size() - kDoneLength - row.size(), row.size()), row)
        << kMoments[i].type << " " << kMoments[i].value;
  }
}

TEST(TdsProtocol, CutsAnswersAtTheByte) {
  EmbeddedCatalog catalog = catalogOf(wideTable());
  for (const std::size_t after : {0, 1, 7, 8, 9, 50, 511, 512, 513, 9'000, 1'000'000}) {
    ServerOptions options;
    options.fault = [&](const std::string&, std::size_t number) -> std::optional<Fault> {
      if (number == 1) return Fault{Fault::Kind::close, after};
      return std::nullopt;
    };
    const TdsServer server(catalog, options);
    RawClient client(server.port());
    client.ask("select 1");
    EXPECT_EQ(lastStatus(client.receive()), 0x10);
    client.ask("select a.a, b.a from t a, t b");
    EXPECT_EQ(client.countToTheEnd(), after);
  }
}

// Cut short, two different texts would arrive as the same.
TEST(TdsProtocol, RefusesValuesThatDoNotFit) {
  using embedded::ResultColumn;
  using embedded::TypeKind;
  struct Case {
    TypeKind kind;
    int width;
    std::string fits, doesNotFit;
  };
  const std::string umlaut = "\u00FC";
  const Case cases[] = {{TypeKind::Varchar, 4, umlaut + umlaut, umlaut + umlaut + "x"},
                        {TypeKind::Varchar, 300, std::string(300, 'x'), std::string(301, 'x')},
                        {TypeKind::Univarchar, 2, umlaut + umlaut, umlaut + umlaut + "x"},
                        {TypeKind::Sysname, 30, std::string(255, 'x'), std::string(256, 'x')},
                        {TypeKind::Text, 16, std::string(70'000, 'x'), ""}};
  for (const Case& one : cases) {
    const std::vector<ResultColumn> columns{
        {"a", embedded::declaredType(one.kind, one.width, {}, true)}};
    TokenBytes out;
    EXPECT_NO_THROW(writeRow(out, columns, {one.fits}, CharacterSet::utf8, {}));
    if (!one.doesNotFit.empty()) {
      EXPECT_THROW(writeRow(out, columns, {one.doesNotFit}, CharacterSet::utf8, {}),
                   std::length_error);
    }
  }
  TokenBytes out;
  EXPECT_THROW(out.shortText(std::string(256, 'x')), std::length_error);
  EXPECT_THROW(out.counted(0xE5, std::string(65'536, 'x')), std::length_error);
}

TEST(TdsProtocol, RefusesWhatItDoesNotSpeak) {
  EmbeddedCatalog catalog = catalogOf("create table t (a int)\ngo\n");
  const TdsServer server(catalog);
  RawClient client(server.port());
  client.send(PacketType::request, "\xE6 a procedure");
  EXPECT_EQ(lastStatus(client.receive()), 0x02);
  client.send(PacketType::request, std::string("\xE7\7\0\2\0\2no\0\0", 10));
  EXPECT_EQ(lastStatus(client.receive()), 0x02);
  client.send(PacketType::request, "");
  EXPECT_EQ(lastStatus(client.receive()), 0x02);
  client.send(PacketType::oldLanguage, "select 1");
  EXPECT_EQ(lastStatus(client.receive()), 0x10);
  client.send(PacketType::request, "\x71");
  EXPECT_EQ(lastStatus(client.receive()), 0);
  EXPECT_EQ(client.receive(), "");
}

}  // namespace
}  // namespace kelvane::tds
