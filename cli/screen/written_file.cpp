#include "cli/screen/written_file.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "cli/screen/destination.h"
#include "model/text.h"

namespace kelvane::cli {
namespace {

[[noreturn]] void refuseToWrite(const std::string& what, const std::string& path,
                                const std::string& reason) {
  throw CommandError({"cannot write " + what + " '" + path + "': " + reason});
}

// `more` than what opening for writing takes anyway. Negative, with errno, where that fails.
int openAsItIs(const Destination& destination, int more) {
  if (destination.descriptor) return fcntl(*destination.descriptor, F_DUPFD_CLOEXEC, 0);
  return open(destination.path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | more, 0666);
}

// Where the file's group cannot be kept, its rights must not go to another one.
mode_t withoutGroup(mode_t mode) { return (mode & ~mode_t{S_IRWXG}) | (mode & S_IRWXO) << 3; }

}  // namespace

WrittenFile::WrittenFile(std::string what, std::string path, const Console& console)
    : what_(std::move(what)),
      path_(std::move(path)),
      undertaking_(console, u"writing " + toUtf16(path_), [this] { return interrupted(); }) {
  const Destination destination = destinationOf(path_);
  target_ = destination.path;
  struct stat there {};
  const bool isThere = stat(target_.c_str(), &there) == 0;
  if (!isThere && errno != ENOENT) refuse(errno);
  if (isThere && S_ISDIR(there.st_mode)) refuse(EISDIR);
  if (!destination.descriptor && (!isThere || S_ISREG(there.st_mode))) {
    if (isThere) replaced_ = there;
    openBeside();
    return;
  }
  const int descriptor = openAsItIs(destination, 0);
  if (descriptor < 0) refuse(errno);
  {
    const std::scoped_lock lock(mutex_);
    state_ = State::incomplete;
  }
  stream_.take(descriptor);
}

WrittenFile::~WrittenFile() { discard(); }

void WrittenFile::openBeside() {
  // Replacing a file takes no right to write to it; its owner would not expect that.
  if (replaced_ && faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) != 0) refuse(errno);
  const mode_t mode = replaced_ ? S_IRUSR | S_IWUSR : 0666;
  const std::scoped_lock lock(mutex_);
  if (isInterrupted_) return;
  int descriptor = -1;
  std::filesystem::path beside;
  // Folders of scripts leave out names that begin with a dot.
  for (int number = 1; descriptor < 0; ++number) {
    beside = target_.parent_path() /
             (".kelvane-" + std::to_string(getpid()) + "-" + std::to_string(number));
    descriptor = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (descriptor < 0 && errno != EEXIST) break;
  }
  const int error = errno;
  if (descriptor >= 0) {
    unfinished_ = std::move(beside);
    stream_.take(descriptor);
  } else if (replaced_ && (error == EACCES || error == EPERM || error == EROFS)) {
    refuseToWrite(
        what_, path_,
        "it would be replaced by a complete new file, but the folder cannot be written: " +
            std::string(std::strerror(error)));
  } else {
    refuse(error);
  }
}

void WrittenFile::keepOwnerAndPermissions() const {
  const int file = stream_.descriptor();
  const auto isOurs = [&](uid_t owner, gid_t group) { return fchown(file, owner, group) == 0; };
  const bool sameGroup =
      isOurs(replaced_->st_uid, replaced_->st_gid) || isOurs(uid_t(-1), replaced_->st_gid);
  const mode_t mode = replaced_->st_mode & 0777;
  if (fchmod(file, sameGroup ? mode : withoutGroup(mode)) != 0) refuse(errno);
}

void WrittenFile::close() {
  if (const int error = stream_.finish()) refuse(error);
  const bool isBeside = state_ == State::notWritten;
  if (isBeside) {
    if (replaced_) keepOwnerAndPermissions();
    if (fsync(stream_.descriptor()) != 0 && errno != EINVAL) refuse(errno);
  }
  if (const int error = stream_.close()) refuse(error);
  const std::scoped_lock lock(mutex_);
  if (isInterrupted_) return;
  if (isBeside && rename(unfinished_.c_str(), target_.c_str()) != 0) refuse(errno);
  unfinished_.clear();
  state_ = State::whole;
}

void WrittenFile::discard() {
  const std::scoped_lock lock(mutex_);
  if (!unfinished_.empty()) unlink(unfinished_.c_str());
  unfinished_.clear();
}

std::string WrittenFile::interrupted() {
  discard();
  const std::scoped_lock lock(mutex_);
  isInterrupted_ = true;
  constexpr std::array<std::string_view, 3> kStates{"not written", "incomplete", "written"};
  return "interrupted while writing: " + path_ + " is " +
         std::string(kStates[static_cast<std::size_t>(state_)]);
}

void WrittenFile::refuse(int error) const { refuseToWrite(what_, path_, std::strerror(error)); }

LogFile::LogFile(std::string what, std::string path)
    : what_(std::move(what)), path_(std::move(path)) {
  const int descriptor = openAsItIs(destinationOf(path_), O_CREAT | O_TRUNC);
  if (descriptor < 0) refuseToWrite(what_, path_, std::strerror(errno));
  stream_.take(descriptor);
}

void LogFile::close() {
  int error = stream_.finish();
  if (error == 0) error = stream_.close();
  if (error != 0) refuseToWrite(what_, path_, std::strerror(error));
}

}  // namespace kelvane::cli
