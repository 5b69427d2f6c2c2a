// The verbs of the program quillix-host.
#pragma once

#include "host/runtime/call.h"

#include <span>
#include <string>
#include <string_view>

namespace cli {

// What the program ends with.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;  // Python raised an error, or cannot be used
inline constexpr int kBadUsage = 2; // of the program
inline constexpr int kLeak = 3;     // an object or string was still alive at the end

// Arguments follow the verb.
using Arguments = std::span<const char *const>;

int call(Arguments arguments);
int api(Arguments arguments);
int check(Arguments arguments);
int script(Arguments arguments);
int run(Arguments arguments);

extern const char *const kCallHelp;
extern const char *const kApiHelp;
extern const char *const kCheckHelp;
extern const char *const kScriptHelp;
extern const char *const kRunHelp;

// Says what is wrong with the command line, and gives kBadUsage.
int badUsage(const std::string &fault, const char *help);

// Says on standard error what went wrong, and gives kFailure.
int failed(const std::string &fault);

// Loads the plug-in; says on standard error why it cannot.
bool loadPlugin(const std::string &path = host::pluginPath());

// Loads the plug-in and starts Python, with what it prints on standard output and `folder` on its
// search path; says on standard error why it cannot.
bool startPython(const std::string &folder);

// Imports a file, calls a function of it with a PythonParameters, and prints the result: kSuccess.
// The file is in startPython's folder. Else says on standard error what went wrong: kFailure, or
// kBadUsage where Python finds another module of that name.
int callFunction(const std::string &file, std::string_view function, const host::Object &arguments);

// Stops Python, then finishes. No handle may be left.
int stopPython(int result);

// Looks for what should be gone by now: kLeak, with a report on standard error, when there is any,
// else the result that the verb had.
int finish(int result);

} // namespace cli
