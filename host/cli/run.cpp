#include "host/cli/cli.h"
#include "host/runtime/platform.h"
#include "host/script/project.h"
#include "host/script/script.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using host::platform::pathOf;
using host::platform::textOf;

namespace {

constexpr const char *kApplication = "--application";

// Below the folder where the system keeps what does not stay.
fs::path newFolder() {
  for (int n = 1;; ++n) {
    fs::path folder = fs::temp_directory_path() / ("quillix-run-" + std::to_string(n));
    if (fs::create_directory(folder))
      return folder;
  }
}

int runIn(const std::string &folder, const ::script::Project &project,
          const std::vector<std::string> &arguments) {
  const fs::path plugin = pathOf(host::pluginPath());
  const auto application = project.layOut(fs::absolute(pathOf(folder)), plugin);
  if (!cli::loadPlugin(textOf(application.libraries / plugin.filename())))
    return cli::kFailure;
  try {
    const ::script::Program program = ::script::parse(project.source(application, arguments));
    return cli::finish(::script::run(program, textOf(application.resources)));
  } catch (const ::script::Error &error) {
    std::fprintf(stderr, "%s: %s\n", project.where(error.line).c_str(), error.what());
    return cli::finish(cli::kFailure);
  }
}

int runApart(const std::string &manifest, const ::script::Project &project,
             const std::vector<std::string> &arguments) {
  const fs::path folder = newFolder();
  std::vector<std::string> command = {"run", kApplication, textOf(folder), manifest};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const int status = host::platform::statusApart(
      [&] {
        try {
          return runIn(textOf(folder), project, arguments);
        } catch (const std::runtime_error &error) {
          return cli::failed(error.what());
        }
      },
      command);
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return status;
}

} // namespace

const char *const cli::kRunHelp =
    R"(usage: quillix-host run [--application FOLDER] PROJECT.xojo_project [ARGUMENT...]

Runs a console project of the host's as a debug run does: lays out the application with the files that
its Copy Files steps name and the plug-in's library, and calls the event Run of its App with the
ARGUMENTs behind the program's own path. `quillix-host script --help` says what of the language is
known here; beside that App.ExecutableFile, SpecialFolder.Resources and SpecialFolder.Resource(name).

The application lies in a folder that goes at the end, or in FOLDER, where it stays.

Exit status: what Run returned; 1 an error in the project, shown as FILE:LINE: message on standard error;
2 wrong usage; 3 something was still alive at the end that should have been gone.
)";

int cli::run(Arguments arguments) {
  std::string folder;
  if (arguments.size() > 1 && std::string_view(arguments[0]) == kApplication) {
    folder = arguments[1];
    arguments = arguments.subspan(2);
  }
  if (arguments.empty() || arguments[0][0] == '-')
    return badUsage("run needs a project", kRunHelp);
  const std::vector<std::string> given(arguments.begin() + 1, arguments.end());
  try {
    const ::script::Project project(pathOf(arguments[0]));
    return folder.empty() ? runApart(arguments[0], project, given) : runIn(folder, project, given);
  } catch (const std::runtime_error &error) {
    return failed(error.what());
  }
}
