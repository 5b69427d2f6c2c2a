// What the verbs that run Python share.

#include "host/cli/cli.h"
#include "host/cli/values.h"
#include "host/runtime/call.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

using host::Object;

// What the bridge alone cannot do for this program: hand over a value of any type, as textOf reads
// it, and an error with its class and traceback. The file's folder, which AddSearchPath put behind
// Python's own, goes to the front, as Python has it for a script. Python 2.7.
constexpr const char *kHelper = R"PYTHON(
import os, sys, traceback

def carry(value, outer=()):
    kind = type(value)
    if kind in (bool, float, str) or value is None or kind.__name__ == 'PyCapsule':
        return value
    if kind in (int, long):
        return value if -2 ** 63 <= value < 2 ** 64 else ('repr', str(value))
    if kind is unicode:
        return ('unicode', value.encode('utf-8'))
    if kind in (tuple, list, dict) and id(value) not in outer:
        items = value if kind is not dict else [x for pair in value.items() for x in pair]
        return (kind.__name__,) + tuple(carry(item, outer + (id(value),)) for item in items)
    return ('repr', repr(value))

def same(one, other):
    return (one is not None and
            os.path.splitext(os.path.realpath(one))[0] == os.path.splitext(os.path.realpath(other))[0])

def run(file, function, arguments):
    sys.path.insert(0, sys.path.pop())
    name = os.path.splitext(os.path.basename(file))[0]
    try:
        module = __import__(name)
        found = getattr(module, '__file__', None)
        if not same(found, file):
            return ('another', found or 'a module of Python itself')
        return ('value', carry(getattr(module, function)(*arguments)))
    except:  # SystemExit and the like too: the host program decides when it ends
        kind, error = sys.exc_info()[:2]
        trace = traceback.format_exception(kind, error, sys.exc_info()[2].tb_next)
        return ('error', ''.join(trace))
)PYTHON";

constexpr const char *kRun =
    "eval(compile(source, 'quillix-host', 'exec')) or run(file, function, arguments)";

constinit bool gLineBegun = false; // by what Python printed last

void print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
  if (!text.empty())
    gLineBegun = text.back() != '\n';
}

void setConsole(const Object &console) {
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", console);
}

} // namespace

bool cli::startPython(const std::string &folder) {
  if (!loadPlugin())
    return false;
  if (!host::callShared<bool>("Quillix", "PythonIsFound() as Boolean")) {
    std::fputs("quillix-host: no Python 2.7 was found; `quillix-host check` says more\n", stderr);
    return false;
  }
  host::callShared("Quillix", "Init(applicationName as String)", "quillix-host");
  if (!host::callShared<Object>("Quillix", "GetModule(name as String) as PythonModule", "sys")) {
    std::fputs(
        "quillix-host: Python does not find its standard library; `quillix-host check` says more\n",
        stderr);
    return false;
  }
  const Object console = host::create("QuillixConsoleOutput");
  host::onConsoleOutput(console, print);
  setConsole(console);
  host::callShared("Quillix", "AddSearchPath(f as FolderItem)", host::newFolderItem(folder));
  return true;
}

int cli::stopPython(int result) {
  // The console stays until Python has stopped, which may print until then.
  host::callShared("Quillix", "Finalize()");
  setConsole(nullptr);
  return finish(result);
}

int cli::callFunction(const std::string &file, std::string_view function, const Object &arguments) {
  constexpr const char *kStringKey = "StringValue(key as String) as String";
  constexpr const char *kStringIndex = "StringValue(index as Integer) as String";
  const Object globals = host::create("PythonDictionary", "Constructor()");
  globals.assign(kStringKey, "source", kHelper);
  globals.assign(kStringKey, "file", file);
  globals.assign(kStringKey, "function", function);
  globals.call("SetValue(key as String, value as PythonEntityBase)", "arguments", arguments);

  const Object parameters =
      host::create("PythonParameters", "Constructor(parameterCount as Integer)", 2);
  parameters.assign(kStringIndex, 0, kRun);
  parameters.assign("DictionaryValue(index as Integer) as PythonDictionary", 1, globals);

  const Object builtins = host::callShared<Object>(
      "Quillix", "GetModule(name as String) as PythonModule", "__builtin__");
  const Object eval =
      builtins.call<Object>("GetFunction(name as String) as PythonFunction", "eval");
  const Object result =
      eval.call<Object>("Invoke(parameters as PythonParameters) as PythonResult", parameters);
  if (!result) {
    const auto error = host::callShared<std::string>("Quillix", "GetError() as String");
    std::fprintf(stderr, "quillix-host: Python raised an error: %s\n", error.c_str());
    return kFailure;
  }
  const auto outcome = result.call<Object>("TupleValue() as PythonParameters");
  const auto kind = outcome.call<std::string>(kStringIndex, 0);
  if (kind == "error") {
    std::fputs(outcome.call<std::string>(kStringIndex, 1).c_str(), stderr);
    return kFailure;
  }
  if (kind == "another") {
    std::fprintf(stderr,
                 "quillix-host: %s has the name of another module, which Python finds: %s\n",
                 file.c_str(), outcome.call<std::string>(kStringIndex, 1).c_str());
    return kBadUsage;
  }
  print((gLineBegun ? "\n" : "") + textOf(outcome, 1) + '\n');
  return kSuccess;
}
