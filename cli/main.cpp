#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

#include "cli/run.h"
#include "cli/terminal.h"
#include "drivers/embedded/connection.h"

int main(int count, char** words) {
  kelvane::embedded::prepareForThreads();
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  const kelvane::cli::Console console{std::cout, std::cerr, isatty(STDERR_FILENO) != 0,
                                      kelvane::cli::askOnTerminal, isatty(STDOUT_FILENO) != 0};
  return kelvane::cli::run(arguments, console);
}
