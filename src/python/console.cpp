// What Python prints, as events of a host object.
//
// The native module "aview" stands in for sys.stdout in every interpreter that is started. Its
// write() hands each piece of text, as it is written, to the console object that host code chose.
// Standard error stays the process's own.

#include <string_view>

#include "python/runtime.h"

REALobject consoleOutputInstance = nullptr;

extern REALclassDefinition QuillixConsoleOutputClass;
extern REALevent QuillixEvents[1];

namespace {

using ConsoleHandler = void(REALobject instance, REALstring output);

struct ConsoleData {
  ConsoleHandler *handler; // of this instance's event; null until host code implements it
};

ConsoleHandler *findHandler(REALobject instance) {
  return reinterpret_cast<ConsoleHandler *>(REALGetEventInstance(instance, &QuillixEvents[0]));
}

void QuillixConsoleOutput_Constructor(REALobject self) {
  classData<ConsoleData>(self, QuillixConsoleOutputClass).handler = findHandler(self);
}

void OnConsoleOutput(REALobject console, REALstring output) {
  auto &data = classData<ConsoleData>(console, QuillixConsoleOutputClass);
  if (!data.handler) {
    data.handler = findHandler(console);
  }
  if (data.handler) {
    data.handler(console, output);
  }
}

// A console stays until its handler has returned, which may choose another one.
[[gnu::always_inline]] inline void sendToConsole(std::string_view text) {
  ObjectLock console = ObjectLock::share(consoleOutputInstance);
  StringLock output(newString(text.data(), text.size()));
  OnConsoleOutput(console.get(), output.get());
}

// --- Module aview ---

// What else than a str will do is Python's to say.
[[gnu::cold, gnu::noinline]] std::string_view parseText(PyObject *arguments) {
  const char *text = nullptr;
  return EPyArg_ParseTuple(arguments, "s", &text) ? std::string_view(text) : std::string_view();
}

// The one argument as text without a NUL inside; without data, and Python's error set, when it is
// none. A str is read where it is.
inline std::string_view textArgument(PyObject *arguments) {
  if (PyTuple_GET_SIZE(arguments) == 1) {
    PyObject *argument = PyTuple_GET_ITEM(arguments, 0);
    if (PyString_Check(argument)) {
      std::string_view text = PyString_AS_STRING(argument);
      if (text.size() == static_cast<std::size_t>(PyString_GET_SIZE(argument))) {
        return text;
      }
    }
  }
  return parseText(arguments);
}

PyObject *aview_write(PyObject *, PyObject *arguments) {
  std::string_view text = textArgument(arguments); // Python's
  if (!text.data()) {
    return nullptr;
  }
  if (consoleOutputInstance) {
    PythonCall call; // the handler may try to stop the interpreter
    if (!fitsHostString(text.size())) {
      return nullptr;
    }
    callAside([text] { sendToConsole(text); });
  }
  return newNone().release();
}

PyObject *aview_flush(PyObject *, PyObject *) { return newNone().release(); }

PyMethodDef a_methods[] = {
    {"write", aview_write, METH_VARARGS, "Write something."},
    {"flush", aview_flush, METH_VARARGS, "doc for flush"},
    {nullptr, nullptr, 0, nullptr},
};

} // namespace

void initaview() {
  if (!gPythonFound || !EPy_IsInitialized()) {
    return;
  }
  PyObject *module =
      EPy_InitModule4("aview", a_methods, nullptr, nullptr, PYTHON_API_VERSION); // borrowed
  if (module) {
    EPySys_SetObject(const_cast<char *>("stdout"), module);
  }
}

// Letting go of a console object may run its destructor, and that may choose a console too.
void Python_SetConsoleOutput(REALobject output) {
  EUnlockObject(std::exchange(consoleOutputInstance, nullptr));
  ELockObject(output);
  EUnlockObject(std::exchange(consoleOutputInstance, output));
}

// --- Class QuillixConsoleOutput ---

REALevent QuillixEvents[] = {
    declare::event<"ConsoleOutput(output as String)", ConsoleHandler>(),
};

REALclassDefinition QuillixConsoleOutputClass = {
    .name = "QuillixConsoleOutput",
    .dataSize = sizeof(ConsoleData),
    .constructor = QuillixConsoleOutput_Constructor,
    .events = QuillixEvents,
};
