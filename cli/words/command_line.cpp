#include "cli/words/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "inventory/near_names.h"

namespace kelvane::cli {
namespace {

constexpr std::size_t kColumnOfHelp = 32;

std::string namesOf(const Option& option) {
  return (option.shortName.empty() ? "" : std::string(option.shortName) + ",") +
         std::string(option.name);
}

std::string usageOf(const Verb& verb, std::string_view margin) {
  std::string text;
  const std::string start = std::string(margin) + "kelvane " + std::string(verb.name);
  for (const std::string_view way : linesOf(verb.usage))
    text += start + (verb.sides == Sides::none ? " " : " [OPTION]... ") + std::string(way) + "\n";
  return text.empty() ? start + "\n" : text;
}

std::string section(std::string_view title, std::string_view text) {
  std::string result = "\n" + std::string(title) + ":\n";
  for (const std::string_view line : linesOf(text)) result += "  " + std::string(line) + "\n";
  return text.empty() ? "" : result;
}

class HelpFormatter final : public CLI::Formatter {
 public:
  explicit HelpFormatter(std::string usage) : usage_(std::move(usage)) {
    column_width(kColumnOfHelp);
  }
  std::string make_usage(const CLI::App*, std::string) const override {
    return "\nUsage:\n" + usage_ + "\n";
  }
  std::string make_group(std::string title, bool positional,
                         std::vector<const CLI::Option*> options) const override {
    return Formatter::make_group(std::move(title), positional, std::move(options)).substr(1);
  }
  std::string make_option_name(const CLI::Option* option, bool positional) const override {
    return CLI::detail::find_and_replace(Formatter::make_option_name(option, positional), ",",
                                         ", ");
  }
  std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
    const std::string text = Formatter::make_subcommands(app, mode);
    return text.empty() ? text : text.substr(text.find_first_not_of('\n') - 1);
  }

 private:
  std::string usage_;
};

void setHelp(CLI::App& app, std::string usage) {
  app.formatter(std::make_shared<HelpFormatter>(std::move(usage)));
  app.set_help_flag("-h,--help", "show this help")->group("Help");
}

// The options of a verb as the parser knows them.
class VerbParser {
 public:
  explicit VerbParser(const Verb& verb) : app_(std::string(verb.brief)), verb_(verb) {
    const std::string what =
        "kelvane " + std::string(verb.name) + " " + std::string(verb.brief) + ".";
    app_.description(verb.says.empty() ? what : what + "\n\n" + std::string(verb.says));
    app_.allow_extras();
    for (const OptionFamily& family : familiesOf(verb)) {
      for (const Option& option : family.options) add(option, family.title);
    }
    setHelp(app_, usageOf(verb, "  "));
    app_.footer(footer());
  }

  std::string help() const { return app_.help(); }

  CommandLine read(std::span<const std::string> words);

 private:
  struct Known {
    const Option* option;
    const CLI::Option* parsed;
  };

  void add(const Option& option, std::string_view group) {
    const std::string names = namesOf(option);
    const std::string help =
        std::string(option.help) + (option.mayBeRepeated() ? ". May be repeated" : "");
    CLI::Option* const parsed =
        option.value.empty() ? app_.add_flag(names, help) : app_.add_option(names);
    parsed->description(help)->group(std::string(group));
    parsed->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (!option.value.empty()) parsed->option_text(std::string(option.value));
    known_.push_back({&option, parsed});
  }

  std::string footer() const {
    std::string text;
    if (!known_.empty()) text = std::string(kAboutSides) + "\n";
    text += section("Examples", verb_.examples) + section("Exit status", verb_.statuses);
    const std::size_t start = text.starts_with('\n') ? 1 : 0;
    return text.substr(start, text.size() - 1 - start);
  }

  const Option* called(std::string_view name) const;
  std::vector<std::string> wordsForParser(std::span<const std::string> words) const;
  Settings taken() const;
  void takeOperands(std::vector<std::string> words, CommandLine& line) const;
  [[noreturn]] void refuseOption(const std::string& word) const;

  CLI::App app_;
  const Verb& verb_;
  std::vector<Known> known_;
};

const Option* VerbParser::called(std::string_view name) const {
  const auto known = std::ranges::find_if(known_, [&](const Known& one) {
    return one.option->name == name || one.option->shortName == name;
  });
  return known == known_.end() ? nullptr : known->option;
}

// What the parser makes of the words, the last first. It does not know "-q=false". It would look
// for the value of "--trace=" in the next word; an empty one says that it is empty, and so does one
// behind the last option.
std::vector<std::string> VerbParser::wordsForParser(std::span<const std::string> words) const {
  std::vector<std::string> result;
  bool optionsEnded = false;
  for (std::string word : words) {
    optionsEnded = optionsEnded || word == "--";
    const std::size_t equals = optionsEnded || !word.starts_with('-') ? word.npos : word.find('=');
    const Option* const option =
        equals == word.npos ? nullptr : called(std::string_view(word).substr(0, equals));
    if (option != nullptr) word.replace(0, equals, option->name);
    const bool isEmpty = option != nullptr && word.ends_with('=');
    if (isEmpty) word.pop_back();
    if (isEmpty && option->value.empty()) truthOf("", word);
    result.push_back(std::move(word));
    if (isEmpty) result.emplace_back();
  }
  result.emplace_back();
  std::ranges::reverse(result);
  return result;
}

CommandLine VerbParser::read(std::span<const std::string> words) {
  try {
    app_.parse(wordsForParser(words));
  } catch (const CLI::CallForHelp&) {
    return {.asksForHelp = true};
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  CommandLine line{.settings = taken()};
  std::vector<std::string> operands = app_.remaining();
  operands.pop_back();
  takeOperands(std::move(operands), line);
  return line;
}

Settings VerbParser::taken() const {
  Settings settings;
  for (const auto& [option, parsed] : known_) {
    if (parsed->count() == 0) continue;
    std::vector<std::string> values = parsed->results();
    const std::string name(option->name);
    if (option->value.empty())
      values = {truthOf(values.back(), name) ? "true" : "false"};
    else if (std::ranges::find(values, "") != values.end())
      throw UsageError("option '" + name + "' needs a " + std::string(option->value));
    settings[option->name] = {std::move(values)};
  }
  return settings;
}

void VerbParser::takeOperands(std::vector<std::string> words, CommandLine& line) const {
  bool optionsEnded = false;
  for (std::string& word : words) {
    if (word == "--") {
      if (line.parting) throw UsageError("'--' may be given only once between the operands");
      if (!line.operands.empty()) line.parting = line.operands.size();
      optionsEnded = true;
    } else if (!optionsEnded && word.size() > 1 && word.front() == '-') {
      refuseOption(word);
    } else {
      line.operands.push_back(std::move(word));
    }
  }
}

void VerbParser::refuseOption(const std::string& word) const {
  const std::string name = word.substr(0, word.find('='));
  std::vector<std::string_view> names{"--help"};
  for (const auto& [option, parsed] : known_) names.push_back(option->name);
  throw UsageError("unknown option '" + name + "'" + inventory::nearestName(name, names));
}

}  // namespace

CommandLine readCommandLine(const Verb& verb, std::span<const std::string> words) {
  return VerbParser(verb).read(words);
}

void writeHelp(const Verb& verb, std::ostream& out) { out << VerbParser(verb).help(); }

void writeHelp(std::ostream& out) {
  CLI::App app("Compares databases and shows what is in them.");
  std::string usage;
  for (const Verb& verb : verbs()) {
    usage += usageOf(verb, "  ");
    app.add_subcommand(std::string(verb.name), std::string(verb.brief))->group("Commands");
  }
  setHelp(app, usage + "  kelvane COMMAND --help\n");
  app.set_version_flag("--version", "", "show the version")->group("Help");
  const std::string_view kStatuses = verbs().front().statuses;
  std::string footer = std::string(kAboutSides) + "\n" + section("Exit status", kStatuses);
  footer.pop_back();
  app.footer(footer);
  out << app.help();
}

}  // namespace kelvane::cli
