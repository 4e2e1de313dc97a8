#include "cli/sides/git_scripts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "cli/sides/script_files.h"

extern char** environ;

namespace kelvane::cli {
namespace {

namespace fs = std::filesystem;

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }
  void close() {
    if (number_ >= 0) ::close(number_);
    number_ = -1;
  }
  int get() const { return number_; }

 private:
  int number_;
};

struct Pipe {
  Descriptor read, write;

  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
      throw CommandError({std::string("git cannot be started: ") + std::strerror(errno)});
    read = Descriptor(ends[0]);
    write = Descriptor(ends[1]);
  }
};

std::string allOf(const Descriptor& from) {
  std::string text;
  std::array<char, 1 << 16> piece{};
  for (;;) {
    const ssize_t size = ::read(from.get(), piece.data(), piece.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return text;
    text.append(piece.data(), static_cast<std::size_t>(size));
  }
}

// A reader that ends early is told by its exit status.
void writeAll(Descriptor to, std::string_view text) {
  while (!text.empty()) {
    const ssize_t size = ::write(to.get(), text.data(), text.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
}

struct Outcome {
  int status = 0;
  std::string out, complaints;
};

Outcome runGit(const fs::path& folder, const std::vector<std::string>& words,
               std::string_view input) {
  std::vector<std::string> all{"git", "-C", folder.string()};
  all.insert(all.end(), words.begin(), words.end());
  std::vector<char*> arguments;
  arguments.reserve(all.size() + 1);
  for (std::string& word : all) arguments.push_back(word.data());
  arguments.push_back(nullptr);

  Pipe in, out, complaints;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in.read.get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out.write.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, complaints.write.get(), STDERR_FILENO);
  pid_t process = 0;
  const int failure = posix_spawnp(&process, "git", &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0)
    throw CommandError({std::string("git cannot be started: ") + std::strerror(failure)});
  in.read.close();
  out.write.close();
  complaints.write.close();

  Outcome outcome;
  std::thread writer([&] { writeAll(std::move(in.write), input); });
  std::thread listener([&] { outcome.complaints = allOf(complaints.read); });
  outcome.out = allOf(out.read);
  writer.join();
  listener.join();
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  return outcome;
}

std::string trimmed(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

// What git prints. Throws CommandError with git's own words where it fails.
std::string git(const fs::path& folder, const std::vector<std::string>& words,
                std::string_view input = {}) {
  Outcome outcome = runGit(folder, words, input);
  if (outcome.status == 0) return std::move(outcome.out);
  const std::string complaints = trimmed(std::move(outcome.complaints));
  throw CommandError({"git " + words.front() + ": " +
                      (complaints.empty() ? "status " + std::to_string(outcome.status)
                                          : complaints.substr(0, complaints.find('\n')))});
}

// A folder that is there, and the rest of the path: what a revision has may be gone since.
struct Start {
  fs::path folder, rest;
};
Start startOf(const std::string& path) {
  const fs::path whole = fs::absolute(path).lexically_normal();
  fs::path folder = whole;
  std::error_code none;
  while (!fs::is_directory(folder, none) && folder.has_relative_path())
    folder = folder.parent_path();
  return {folder, whole.lexically_relative(folder)};
}

std::string objectOf(const fs::path& folder, const std::string& revision, const char* type) {
  const Outcome outcome =
      runGit(folder, {"rev-parse", "--verify", "--quiet", "--end-of-options", revision + type}, {});
  if (outcome.status == 0) return trimmed(outcome.out);
  const std::string complaints = trimmed(outcome.complaints);
  throw CommandError(
      {"--git: " + (complaints.empty() ? "there is no revision '" + revision + "' in the repository"
                                       : complaints.substr(0, complaints.find('\n')))});
}

struct Entry {
  std::string object, path;  // from the root of the repository
};

bool isScript(const fs::path& file, const fs::path& within) {
  std::string ending = file.extension().string();
  std::ranges::transform(ending, ending.begin(), [](unsigned char letter) {
    return static_cast<char>(std::tolower(letter));
  });
  const fs::path below = file.lexically_relative(within);
  return ending == ".sql" && std::ranges::none_of(below, [](const fs::path& name) {
           return name.string().starts_with('.');
         });
}

// The scripts below a path, or the file that it is.
std::vector<Entry> entriesOf(const std::string& revision, const std::string& path,
                             const Start& start, const Console& console) {
  const std::string prefix = trimmed(git(start.folder, {"rev-parse", "--show-prefix"}));
  fs::path root = (fs::path(prefix) / start.rest).lexically_normal();
  if (!root.has_filename()) root = root.parent_path();
  if (root == ".") root.clear();
  const std::string tree = objectOf(start.folder, revision, "^{tree}");
  std::vector<std::string> words{"ls-tree", "-r", "-z", "--full-tree", tree};
  // A path is a literal one, whatever is in it.
  if (!root.empty()) words.insert(words.end(), {"--", root.string()});
  const std::string list = git(start.folder, words);
  std::vector<Entry> entries;
  bool isThere = false;
  for (std::string_view rest = list; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    const std::size_t tab = line.find('\t'), object = line.rfind(' ', tab);
    const std::string file(line.substr(tab + 1));
    const bool isFile = file == root.string();
    isThere = true;
    if (!line.starts_with("100")) {
      console.complain(revision + ":" + file + ": is a " +
                       (line.starts_with("120") ? "symbolic link" : "submodule") + "; left out");
      continue;
    }
    if (isFile || isScript(file, root))
      entries.push_back({std::string(line.substr(object + 1, tab - object - 1)), file});
  }
  if (!isThere) throw CommandError({"'" + path + "' is not in revision '" + revision + "'"});
  if (entries.empty())
    throw CommandError({revision + ":" + path + ": is a folder without .sql files"});
  std::ranges::sort(entries, {}, [](const Entry& one) { return fs::path(one.path); });
  return entries;
}

// The contents of the objects, in their order, with one call of git.
std::vector<std::string> contentsOf(const fs::path& folder, const std::vector<Entry>& entries) {
  std::string wanted;
  for (const Entry& one : entries) wanted += one.object + "\n";
  const std::string all = git(folder, {"cat-file", "--batch"}, wanted);
  std::vector<std::string> contents;
  contents.reserve(entries.size());
  std::size_t at = 0;
  for (const Entry& one : entries) {
    const std::size_t end = all.find('\n', at);
    const std::string head = end == all.npos ? "" : all.substr(at, end - at);
    const std::string expected = one.object + " blob ";
    if (!head.starts_with(expected)) throw CommandError({"git cat-file: no object " + one.object});
    const std::size_t size = std::stoul(head.substr(expected.size()));
    contents.push_back(all.substr(end + 1, size));
    at = end + 1 + size + 1;
  }
  return contents;
}

}  // namespace

std::vector<embedded::ScriptText> scriptsOfRevision(const std::string& revision,
                                                    const std::vector<std::string>& paths,
                                                    const Console& console) {
  std::vector<embedded::ScriptText> texts;
  for (const std::string& path : paths) {
    const Start start = startOf(path);
    const std::vector<Entry> entries = entriesOf(revision, path, start, console);
    std::vector<embedded::ScriptText> ofPath;
    ofPath.reserve(entries.size());
    std::vector<std::string> contents = contentsOf(start.folder, entries);
    for (std::size_t at = 0; at < entries.size(); ++at)
      ofPath.push_back({revision + ":" + entries[at].path, std::move(contents[at])});
    for (embedded::ScriptText& text : inRunningOrder(std::move(ofPath)))
      texts.push_back(std::move(text));
  }
  return texts;
}

std::string mergeBaseOf(const std::string& one, const std::string& other, const std::string& path) {
  const fs::path folder = startOf(path).folder;
  const std::string first = objectOf(folder, one, "^{commit}"),
                    second = objectOf(folder, other, "^{commit}");
  const Outcome outcome = runGit(folder, {"merge-base", first, second}, {});
  if (outcome.status != 0)
    throw CommandError({"--git: '" + one + "' and '" + other + "' have no common ancestor"});
  return trimmed(outcome.out);
}

}  // namespace kelvane::cli
