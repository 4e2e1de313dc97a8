// tds_server SCRIPT... [--port N] [--user NAME=PASSWORD]... [--ase 12.5|15|16]: serves the database
// that the scripts create, until it is interrupted. Prints its port.

#include <algorithm>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "cli/sides/script_files.h"
#include "drivers/embedded/script.h"
#include "support/tds_server/server.h"

namespace {

using kelvane::embedded::CatalogOptions;
using kelvane::embedded::EmbeddedCatalog;
using kelvane::embedded::Release;
using kelvane::tds::ServerOptions;
using kelvane::tds::TdsServer;

constexpr int kUsageError = 2;

struct NamedRelease {
  std::string_view name;
  Release release;
};
constexpr NamedRelease kReleases[] = {
    {"12.5", Release::ase125}, {"15", Release::ase15}, {"16", Release::ase16}};

int usage(std::string_view fault) {
  std::cerr << "tds_server: " << fault
            << "\nusage: tds_server SCRIPT... [--port N] [--user NAME=PASSWORD]... "
               "[--ase 12.5|15|16]\n"
               "Runs the scripts, prints the port, and serves the database over TDS 5.0 on the\n"
               "loopback interface until it is interrupted. Defaults: any free port, any login.\n";
  return kUsageError;
}

// Without a fault: an empty text.
std::string read(std::span<char*> arguments, ServerOptions& options, CatalogOptions& catalog,
                 std::vector<std::filesystem::path>& scripts) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view word = arguments[i];
    if (!word.starts_with("--")) {
      scripts.emplace_back(word);
      continue;
    }
    if (word != "--port" && word != "--user" && word != "--ase")
      return "unknown option " + std::string(word);
    if (++i == arguments.size()) return std::string(word) + " needs a value";
    const std::string_view value = arguments[i];
    if (word == "--port") {
      const char* end = value.data() + value.size();
      const auto [stop, error] = std::from_chars(value.data(), end, options.port);
      if (error != std::errc() || stop != end) return "--port needs a number from 0 to 65535";
    } else if (word == "--ase") {
      const auto* const known = std::ranges::find(kReleases, value, &NamedRelease::name);
      if (known == std::end(kReleases)) return "--ase needs 12.5, 15 or 16";
      catalog.release = known->release;
    } else {
      const std::size_t equals = value.find('=');
      if (equals == value.npos) return "--user needs NAME=PASSWORD";
      options.users[std::string(value.substr(0, equals))].password = value.substr(equals + 1);
    }
  }
  return scripts.empty() ? "no script given" : "";
}

}  // namespace

int main(int count, char** words) {
  ServerOptions options;
  CatalogOptions catalogOptions;
  std::vector<std::filesystem::path> scripts;
  const std::string fault = read(std::span(words, static_cast<std::size_t>(count)).subspan(1),
                                 options, catalogOptions, scripts);
  if (!fault.empty()) return usage(fault);

  // Before any thread starts, so that all have them blocked and sigwait gets them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  EmbeddedCatalog catalog(catalogOptions);
  // A folder that kelvane ddl wrote has an order of its own.
  const auto texts = kelvane::cli::textsInOrder(scripts);
  const auto report = texts ? kelvane::embedded::loadTexts(catalog, *texts)
                            : kelvane::embedded::loadFiles(catalog, scripts);
  for (const auto& error : report.errors) std::cerr << error.describe() << '\n';
  if (!report.succeeded() || !report.readable) return 1;
  try {
    const TdsServer server(catalog, options);
    std::cout << server.port() << std::endl;
    int signal = 0;
    sigwait(&signals, &signal);
  } catch (const std::system_error& error) {
    std::cerr << "tds_server: port " << options.port << ": " << error.what() << '\n';
    return 1;
  }
  return 0;
}
