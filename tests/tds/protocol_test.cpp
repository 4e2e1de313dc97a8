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
  explicit RawClient(std::uint16_t port, const std::string& capabilities = "")
      : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string record(568, '\0');
    record[458] = 5;
    send(PacketType::login, record + capabilities);
    greeting = receive();
  }
  ~RawClient() { close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  std::string greeting;

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
  constexpr std::size_t kWholeText = 100'000;
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
    EXPECT_NO_THROW(writeRow(out, columns, {one.fits}, CharacterSet::utf8, {}, kWholeText));
    if (!one.doesNotFit.empty()) {
      EXPECT_THROW(writeRow(out, columns, {one.doesNotFit}, CharacterSet::utf8, {}, kWholeText),
                   std::length_error);
    }
  }
  TokenBytes out;
  EXPECT_THROW(out.shortText(std::string(256, 'x')), std::length_error);
  EXPECT_THROW(out.counted(0xE5, std::string(65'536, 'x')), std::length_error);
}

// The requests of a client that knows all types, but for some bits.
std::string capabilitiesWithout(std::initializer_list<std::size_t> bits) {
  constexpr std::size_t kBytes = 14;
  std::string list(kBytes, '\xFF');
  for (const std::size_t bit : bits) {
    char& byte = list[kBytes - 1 - bit / 8];
    byte = static_cast<char>(byte & ~(1 << (bit % 8)));
  }
  TokenBytes content, token;
  content.byte(1);
  content.byte(kBytes);
  content.bytes += list;
  token.counted(0xE2, content.bytes);
  return token.bytes;
}

TEST(TdsProtocol, SendsTypesThatTheClientKnows) {
  constexpr std::size_t kLongTexts = 28, kLongBinaries = 29, kBigint = 51, kUint = 62, kDate = 71,
                        kTime = 72, kUnitext = 80, kBigMoments = 93;
  const struct {
    std::string type, value;
    std::initializer_list<std::size_t> lacking;
    int code;  // of the type on the wire
    std::string row;
  } cases[] = {
      {"bigint", "-2", {}, 191, std::string("\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8)},
      {"bigint", "-2", {kBigint}, 108, std::string("\x09\1\0\0\0\0\0\0\0\2", 10)},
      {"unsigned smallint", "2", {kUint}, 56, std::string("\2\0\0\0", 4)},
      {"unsigned int", "4294967295", {kUint}, 108, std::string("\x06\0\0\xFF\xFF\xFF\xFF", 7)},
      {"date", "'1900-01-03'", {}, 49, std::string("\2\0\0\0", 4)},
      {"date", "'1900-01-03'", {kDate}, 61, std::string("\2\0\0\0\0\0\0\0", 8)},
      {"time", "'00:00:01'", {kTime}, 61, std::string("\0\0\0\0\x2C\1\0\0", 8)},
      {"bigtime", "'00:00:01'", {kBigMoments}, 51, std::string("\x2C\1\0\0", 4)},
      // Rounded up to the next day, whose time is zero.
      {"bigdatetime",
       "'1900-01-02 23:59:59.999999'",
       {kBigMoments},
       61,
       std::string("\2\0\0\0\0\0\0\0", 8)},
      {"univarchar(4)", "'x'", {}, 225, std::string("\2\0\0\0x\0", 6)},
      {"univarchar(4)", "'x'", {kLongBinaries}, 39, "\1x"},
      {"varchar(300)", "'x'", {}, 175, std::string("\1\0\0\0x", 5)},
      {"varchar(300)", "'x'", {kLongTexts}, 35, std::string("\1\0\0\0x", 5)},
      {"unitext", "'x'", {}, 174, std::string("\2\0\0\0x\0", 6)},
      {"unitext", "'x'", {kUnitext}, 225, std::string("\2\0\0\0x\0", 6)},
  };
  for (const auto& one : cases) {
    EmbeddedCatalog catalog = catalogOf("create table t (a " + one.type +
                                        " not null)\ninsert t values (" + one.value + ")\ngo\n");
    const TdsServer server(catalog);
    RawClient client(server.port(), capabilitiesWithout(one.lacking));
    client.ask("select a from t");
    const std::string answer = client.receive();
    constexpr std::size_t kDoneLength = 9, kTypeAt = 12;
    ASSERT_GT(answer.size(), kTypeAt + one.row.size() + kDoneLength);
    EXPECT_EQ(static_cast<unsigned char>(answer[kTypeAt]), one.code) << one.type;
    EXPECT_EQ(answer.substr(answer.size() - kDoneLength - one.row.size(), one.row.size()), one.row)
        << one.type;
  }
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  // What is refused is not granted: server cursors (6), bulk copies (5), nullable bits (50).
  const RawClient client(server.port(), capabilitiesWithout({}));
  EXPECT_NE(client.greeting.find(capabilitiesWithout({3, 5, 6, 44, 50})), std::string::npos);
  // A list that says it is longer than it is.
  RawClient broken(server.port(), std::string("\xE2\xFF\xFF\1\xFF\1", 6));
  broken.ask("select 1");
  EXPECT_EQ(lastStatus(broken.receive()), 0x10);
}

std::string execution(const std::string& text, const std::string& parameters) {
  TokenBytes request;
  request.byte(0x21);
  request.doubleWord(text.size() + 1);
  request.byte(1);
  return request.bytes + text + parameters;
}

TEST(TdsProtocol, SurvivesParametersThatAreCutOffOrOfNoSense) {
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  RawClient client(server.port());
  const std::string values = std::string(
      "\xEC\x29\0\4\0"
      "\0\0\0\0\0\0\x26\4\0"                // intn
      "\0\0\0\0\0\0\x6C\x11\x26\2\0"        // numn
      "\0\0\0\0\0\0\xAF\xFF\xFF\xFF\x7F\0"  // longchar
      "\0\0\0\0\0\0\x24\3\0\0\0"            // in chunks
      "\xD7\4\5\0\0\0\2\1\x7D\2\0\0\0ab\0\0\0\1\0\0\x80x\0\0\0\0",
      5 + 9 + 11 + 12 + 11 + 1 + 5 + 3 + 6 + 12);
  const std::string whole = execution("select ?, ?, ?, ?", values);
  client.send(PacketType::request, whole);
  EXPECT_EQ(lastStatus(client.receive()), 0x10);
  for (std::size_t length = whole.size() - values.size(); length < whole.size(); ++length) {
    client.send(PacketType::request, whole.substr(0, length));
    EXPECT_EQ(lastStatus(client.receive()), 0x02) << length;
  }
  // Each byte becomes others: any answer will do, but there must be one.
  for (std::size_t at = whole.size() - values.size(); at < whole.size(); ++at) {
    for (const int other : {0x00, 0x01, 0x22, 0x24, 0x7F, 0xAF, 0xBB, 0xFF}) {
      std::string changed = whole;
      changed[at] = static_cast<char>(other);
      client.send(PacketType::request, changed);
      EXPECT_NE(client.receive(), "") << at << " " << other;
    }
  }
  const std::string calls[] = {
      std::string("\xE6", 1), std::string("\xE6\xFF\xFF\xFFp", 5),
      std::string("\xE6\5\0\1p\2\0\xEC\0\0\xFF\xFF", 12), std::string("\xE7\xFF\xFF\2\1\xFFx", 7),
      std::string("\x62\xFF\xFF\xFF\xFF\1\0\1x\xFF\xFF\xFF\xFFselect", 19)};
  for (const std::string& call : calls) {
    client.send(PacketType::request, call);
    EXPECT_NE(client.receive(), "");
  }
  client.ask("select 1");
  EXPECT_EQ(lastStatus(client.receive()), 0x10);
}

TEST(TdsProtocol, AnswersAnyBytesOfAnyType) {
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  RawClient client(server.port());
  for (int code = 0; code < 256; ++code) {
    for (const char width : {'\0', '\1', '\2', '\4', '\x08', '\x11'}) {
      for (const char filler : {'\0', '\x7F', '\x80', '\xFF'}) {
        // As the format of a counted type has it, of one with a scale, and of a long one.
        for (const std::size_t more : {0, 1, 2, 3}) {
          TokenBytes request;
          request.bytes = std::string("\xEC\0\0\1\0\0\0\0\0\0\0", 11);
          request.byte(code);
          request.byte(width);
          request.bytes.append(more + 1, '\0');
          request.byte(0xD7);
          request.byte(width);
          request.bytes.append(40, filler);
          client.send(PacketType::request, execution("select ?", request.bytes));
          const int status = lastStatus(client.receive());
          ASSERT_TRUE(status == 0x10 || status == 0x02) << code << " " << int{width};
        }
      }
    }
  }
}

TEST(TdsProtocol, WantsAsManyValuesAsThereAreMarkers) {
  EmbeddedCatalog catalog;
  const TdsServer server(catalog);
  RawClient client(server.port());
  const std::string one = std::string("\xEC\x0B\0\1\0\0\0\0\0\0\0\x26\4\0\xD7\4\5\0\0\0", 20);
  for (const char* text : {"select '?'", "select ?, ?", "select @a, @b", "select [?] -- ?"}) {
    client.send(PacketType::request, execution(text, one));
    const std::string answer = client.receive();
    EXPECT_EQ(lastStatus(answer), 0x02) << text;
    EXPECT_NE(answer.find("but 1 values came"), std::string::npos) << text;
  }
  for (const char* text : {"select ?", "select @a, @a, @@rowcount", "select /* ? */ ?"}) {
    client.send(PacketType::request, execution(text, one));
    EXPECT_EQ(lastStatus(client.receive()), 0x10) << text;
  }
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
