// kvt: the library's operations on files, from the command line.
#include <KVTFoundation/KVTFoundation.h>

#include <csignal>
#include <new>
#include <string>

#include "Command.h"
#include "Output.h"
#include "Text.h"

namespace kvt::tool {
namespace {

const Command* const kCommands[] = {&kModelCommand, &kCacheCommand};

const Command* commandNamed(std::string_view name) {
  for (const Command* command : kCommands) {
    if (command->name == name) return command;
  }
  return nullptr;
}

std::string generalHelp() {
  std::string text =
      "usage: kvt COMMAND [OPTION...] [FILE]\n"
      "\n"
      "Commands:\n";
  for (const Command* command : kCommands) {
    text += "  " + padded(command->name, 10) + std::string(command->summary) + "\n";
  }
  text +=
      "  help      what a command does: kvt help COMMAND\n"
      "\n"
      "Options:\n"
      "  --help     this text\n"
      "  --version  the version of the library\n"
      "\n"
      "Exit status: 0; 64 wrong command line; 65 the input is not what it should be; 66 it cannot be read;\n"
      "74 the output cannot be written, or a file cannot be removed.\n";
  return text;
}

std::string helpOf(const Command& command) {
  return "usage: " + std::string(command.usage) + "\n\n" + std::string(command.help);
}

/// "1.0.0", as the library says it: the last word of its identification.
std::string libraryVersion() {
  std::string text(reinterpret_cast<const char*>(KVTFoundationVersionString));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text.substr(text.rfind('-') + 1);
}

void print(std::string_view text) {
  Output output;
  output << text;
  output.flush();
}

ExitStatus run(std::span<const std::string_view> arguments) {
  const std::string_view name = arguments.empty() ? std::string_view() : arguments.front();
  const Command* command = commandNamed(name);
  try {
    if (name.empty()) throw Failure(ExitStatus::kUsage, "which command?");
    if (name == "--version") {
      print("kvt " + libraryVersion() + "\n");
    } else if (name == "--help" || name == "-h" || (name == "help" && arguments.size() == 1)) {
      print(generalHelp());
    } else if (name == "help") {
      command = commandNamed(arguments[1]);
      if (command == nullptr || arguments.size() > 2) {
        throw Failure(ExitStatus::kUsage, "no help on " + printable(arguments.back()));
      }
      print(helpOf(*command));
    } else if (command == nullptr) {
      throw Failure(ExitStatus::kUsage, "unknown command " + printable(name));
    } else {
      const auto rest = arguments.subspan(1);
      bool wantsHelp = false;
      for (std::string_view argument : rest) {
        if (argument == "--") break;
        wantsHelp = wantsHelp || argument == "--help" || argument == "-h";
      }
      if (wantsHelp)
        print(helpOf(*command));
      else
        command->run(rest);
    }
    return ExitStatus::kOK;
  } catch (const Failure& failure) {
    complain(failure.what());
    if (failure.status() == ExitStatus::kUsage) {
      complain(command != nullptr ? "usage: " + std::string(command->usage) : "usage: kvt COMMAND [OPTION...] [FILE]");
      complain(command != nullptr ? "see kvt help " + std::string(command->name) : "see kvt --help");
    }
    return failure.status();
  } catch (const std::bad_alloc&) {
    complain("there is not enough memory");
  } catch (const std::exception& error) {
    complain(printable(error.what()));
  }
  return ExitStatus::kSoftware;
}

}  // namespace
}  // namespace kvt::tool

int main(int argc, char** argv) {
  // A reader that went away is an error of writing, with a status of its own.
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<std::string_view> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  return static_cast<int>(kvt::tool::run(arguments));
}
