#include "cli/sides/password.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/screen/variable.h"
#include "cli/words/one_side.h"
#include "cli/words/two_sides.h"
#include "model/text.h"
#include "report/visible_text.h"

namespace kelvane::cli {
namespace {

// Bytes that the record of a login has for a user's name, and for a password.
constexpr std::size_t kMostBytes = 30;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
  throw CommandError({"password file '" + path + "': " + reason});
}

class File {
 public:
  // A pipe without a writer does not hold the program up.
  explicit File(const std::string& path)
      : number_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
    if (number_ < 0) refuse(path, std::strerror(errno));
  }
  ~File() { close(number_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

std::string firstLine(const std::string& path) {
  const File file(path);
  struct stat facts {};
  if (fstat(file.number(), &facts) != 0) refuse(path, std::strerror(errno));
  if (!S_ISREG(facts.st_mode)) refuse(path, "is not a regular file");
  if (facts.st_uid != geteuid() && facts.st_uid != 0) refuse(path, "belongs to another user");
  if ((facts.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    refuse(path, "others can read or write it; run chmod 600 on it");
  std::string text(4096, '\0');
  const ssize_t length = read(file.number(), text.data(), text.size());
  if (length < 0) refuse(path, std::strerror(errno));
  text.resize(static_cast<std::size_t>(length));
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  std::string line = text.substr(0, text.find('\n'));
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty()) refuse(path, "its first line is empty");
  return line;
}

std::string variableOf(std::string_view side) {
  std::string name(kVariablePrefix);
  for (const char letter : side) name += static_cast<char>(letter - 'a' + 'A');
  return name + "_PASSWORD";
}

// The data source's password is that of its own user.
std::optional<std::u16string> passwordOfDataSource(const odbc::ConnectionString& address) {
  const auto user = address.find(odbc::kUserKeywords);
  const auto itsUser = address.findInDataSource(odbc::kUserKeywords);
  if (user && itsUser && *user != *itsUser) return std::nullopt;
  return address.findInDataSource(odbc::kPasswordKeywords);
}

std::optional<std::string> findPassword(const ServerPlace& place, std::string_view side) {
  if (place.passwordFile) return firstLine(*place.passwordFile);
  if (auto password = variable(variableOf(side))) return password;
  if (const auto password = passwordOfDataSource(place.address)) return toUtf8(*password);
  return place.address.find(odbc::kUserKeywords) ? variable("KELVANE_PASSWORD") : std::nullopt;
}

// Drivers cut off what does not fit, and the server then refuses the login or lets another one in.
void requireFitting(const std::string& text, const std::string& what, const ServerPlace& place) {
  if (text.size() > kMostBytes)
    throw CommandError({place.name + ": " + what + " is longer than " + std::to_string(kMostBytes) +
                        " bytes in UTF-8, the maximum for a login"});
  if (text.find('\0') != text.npos)
    throw CommandError(
        {place.name + ": " + what + " contains a zero byte, which a login cannot contain"});
}

std::string passwordFileOption(std::string_view side) {
  return std::string(side == "side"     ? kOneSide.passwordFile
                     : side == "source" ? kTwoSides[0].passwordFile
                                        : kTwoSides[1].passwordFile);
}

std::string ask(const std::string& whose, std::string_view side, const Console& console) {
  if (console.askSecret) {
    if (auto password = console.askSecret("Password of " + report::showMessage(whose) + ": "))
      return *password;
  }
  throw CommandError({"no password for " + whose + ": put it into " + variableOf(side) +
                      " or a file for " + passwordFileOption(side) +
                      ", or run kelvane on a terminal"});
}

}  // namespace

void givePassword(ServerPlace& place, std::string_view side, const Console& console) {
  // None comes with the command line: it was given before.
  if (place.address.find(odbc::kPasswordKeywords)) return;
  const auto named = place.address.find(odbc::kUserKeywords);
  if (!named) {
    if (const auto user = place.address.findInDataSource(odbc::kUserKeywords))
      place.address.add(odbc::kUserKeywords.front(), *user);
  }
  auto password = findPassword(place, side);
  if (!password && named)
    password =
        ask(toUtf8(*named) + " (" + std::string(side) + ", " + place.name + ")", side, console);
  const auto user = place.address.find(odbc::kUserKeywords);
  if (user) requireFitting(toUtf8(*user), "the user name", place);
  if (!password) return;
  requireFitting(*password, "the password", place);
  const std::u16string text = toUtf16(*password);
  if (toUtf8(text) != *password) throw CommandError({place.name + ": the password is not UTF-8"});
  try {
    place.address.add(odbc::kPasswordKeywords.front(), text);
  } catch (const ado::Failure& failure) {
    throw CommandError({place.name + ": " + failure.what()});
  }
}

}  // namespace kelvane::cli
