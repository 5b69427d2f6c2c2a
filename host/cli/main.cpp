// quillix-host: a host program around the plug-in, for the command line.

#include "host/cli/cli.h"
#include "host/runtime/call.h"
#include "host/runtime/platform.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char *kHelp =
    R"(usage: quillix-host VERB [ARGUMENT...]

Loads the plug-in Quillix into a small stand-in for its host, and uses it.

  call FILE.py FUNCTION [ARGUMENT...]   call a Python function and print its result
  run PROJECT.xojo_project              run a project of the host's, in its text format
  script FILE.xojo_script               run a script in the host's language
  api                                   list the public interface as it was registered
  check                                 say which Python was found, and whether it can be used

  --help, help   this text
  --version      the version of this program and of the plug-in that was built with it
  VERB --help    more about a verb

The plug-in is the one that was built with this program, or the one that the environment variable
QUILLIX_PLUGIN_PATH names. Python 2.7 is the one that the system's loader finds.

Exit status: 0 success; 1 an error in Python or in a script, or Python cannot be used; 2 wrong usage;
3 something was still alive at the end that should have been gone.
)";

struct Verb {
  std::string_view name;
  int (*run)(cli::Arguments);
  const char *help;
};

bool asksForHelp(std::string_view argument) { return argument == "--help" || argument == "-h"; }

} // namespace

int cli::badUsage(const std::string &fault, const char *help) {
  std::fprintf(stderr, "quillix-host: %s\n\n%s", fault.c_str(), help);
  return kBadUsage;
}

int cli::failed(const std::string &fault) {
  std::fprintf(stderr, "quillix-host: %s\n", fault.c_str());
  return kFailure;
}

bool cli::loadPlugin(const std::string &path) {
  try {
    host::load(path);
    return true;
  } catch (const std::exception &error) {
    failed(error.what());
    return false;
  }
}

int cli::finish(int result) {
  const std::string report = host::survivors();
  if (report.empty())
    return result;
  std::fprintf(stderr, "quillix-host: %s\n", report.c_str());
  return kLeak;
}

int main(int count, char **given) {
  const std::vector<std::string> line = host::platform::start(count, given);
  std::vector<const char *> words(line.size());
  std::transform(line.begin(), line.end(), words.begin(), std::mem_fn(&std::string::c_str));
  const Verb verbs[] = {
      {"call", cli::call, cli::kCallHelp},       {"run", cli::run, cli::kRunHelp},
      {"script", cli::script, cli::kScriptHelp}, {"api", cli::api, cli::kApiHelp},
      {"check", cli::check, cli::kCheckHelp},
  };
  if (words.size() < 2)
    return cli::badUsage("a verb is missing", kHelp);
  const std::string_view name = words[1];
  if (asksForHelp(name) || name == "help") {
    std::fputs(kHelp, stdout);
    return cli::kSuccess;
  }
  if (name == "--version") {
    std::puts("Quillix " QUILLIX_VERSION);
    return cli::kSuccess;
  }
  for (const Verb &verb : verbs) {
    if (verb.name != name)
      continue;
    if (words.size() > 2 && asksForHelp(words[2])) {
      std::fputs(verb.help, stdout);
      return cli::kSuccess;
    }
    return verb.run(cli::Arguments(words).subspan(2));
  }
  return cli::badUsage("unknown verb \"" + std::string(name) + "\"", kHelp);
}
