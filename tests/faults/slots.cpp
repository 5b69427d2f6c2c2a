#include "tests/faults/slots.h"

#include <cstdarg>
#include <cstring>
#include <map>
#include <set>
#include <string_view>

#include "python/symbols.h"
#include "tests/redirect.h"
#include "tests/support.h"

namespace {

// --- Failing on request ---

int gCallsLeft = 0;
slots::Failure gFailure{};

// How a function fails that does.
enum class Way {
  Never,   // it answers a question, has no result, or is looked up and not called
  Quietly, // with the zero value and no error
  Zero,    // with the zero value and an error
  Usual,   // with null or -1, and an error
};

constexpr Way wayOf(std::string_view name) {
  for (std::string_view each : {"Py_IsInitialized", "PyErr_Occurred", "PyCallable_Check",
                                "PyType_IsSubtype", "PyTuple_GetItem"})
    if (name == each)
      return Way::Never;
  for (std::string_view each : {"PyObject_HasAttrString", "PyDict_GetItem", "PySys_GetObject"})
    if (name == each)
      return Way::Quietly;
  return name == "PyArg_ParseTuple" ? Way::Zero : Way::Usual;
}

bool fails(const char *name, Way way) {
  if (way == Way::Never || gCallsLeft == 0 || --gCallsLeft > 0)
    return false;
  gFailure = {name, way != Way::Quietly};
  if (gFailure.setsError)
    PY(PyErr_SetString)(*PY(PyExc_MemoryError), "as requested");
  return true;
}

template <class R> R failedResult(Way way) {
  if constexpr (std::is_pointer_v<R>)
    return nullptr;
  else
    return way == Way::Usual ? static_cast<R>(-1) : R{};
}

// An item that the function takes over is let go also when it fails.
template <class... A> void releaseStolen(std::string_view, A...) {}
template <class Container>
void releaseStolen(std::string_view name, Container, Py_ssize_t, PyObject *item) {
  if (name == "PyTuple_SetItem" || name == "PyList_SetItem")
    Py_XDECREF(item);
}

// --- Following objects ---

std::set<PyObject *> gAlive;
std::map<PyTypeObject *, destructor> gDeallocators; // of the types that are watched

void forgetAndDeallocate(PyObject *object) {
  gAlive.erase(object);
  PyTypeObject *type = Py_TYPE(object); // or a subclass of a watched one
  while (!gDeallocators.contains(type))
    type = type->tp_base;
  gDeallocators[type](object);
}

constexpr bool makesReferences(std::string_view name) {
  return !name.ends_with("GetItem") && name != "PySys_GetObject" && name != "PyModule_GetDict" &&
         name != "PyErr_Occurred" && !name.starts_with("Py_InitModule4");
}

template <class R> R follow(std::string_view name, R result) {
  if constexpr (std::is_same_v<R, PyObject *>)
    if (makesReferences(name) && result && result->ob_refcnt == 1 &&
        !PyType_HasFeature(Py_TYPE(result), Py_TPFLAGS_HEAPTYPE)) {
      PyTypeObject *const type = Py_TYPE(result);
      if (gDeallocators.try_emplace(type, type->tp_dealloc).second)
        type->tp_dealloc = forgetAndDeallocate;
      gAlive.insert(result);
    }
  return result;
}

// --- The stand-ins ---

template <class Symbol, class Function = typename Symbol::Type> struct StandIn;

template <class Symbol, class R, class... A> struct StandIn<Symbol, R (*)(A...)> {
  static inline typename Symbol::Type original = nullptr;

  static R call(A... arguments) {
    if constexpr (std::is_void_v<R>) {
      original(arguments...);
    } else {
      constexpr Way way = wayOf(Symbol::kName);
      if (fails(Symbol::kName, way)) {
        releaseStolen(Symbol::kName, arguments...);
        return failedResult<R>(way);
      }
      return follow(Symbol::kName, original(arguments...));
    }
  }
};

// The two that take any number of arguments.
template <class Symbol> struct StandIn<Symbol, int (*)(PyObject *, const char *, ...)> {
  static inline typename Symbol::Type original = nullptr;

  static int call(PyObject *tuple, const char *format, ...) {
    static_assert(std::string_view(Symbol::kName) == "PyArg_ParseTuple");
    if (fails(Symbol::kName, Way::Zero))
      return 0;
    std::va_list results;
    va_start(results, format);
    const int parsed = PY(PyArg_VaParse)(tuple, format, results);
    va_end(results);
    return parsed;
  }
};
template <class Symbol> struct StandIn<Symbol, PyObject *(*)(const char *, ...)> {
  static inline typename Symbol::Type original = nullptr;

  static PyObject *call(const char *format, ...) {
    static_assert(std::string_view(Symbol::kName) == "Py_BuildValue");
    if (fails(Symbol::kName, Way::Usual))
      return nullptr;
    std::va_list values;
    va_start(values, format);
    PyObject *const built = PY(Py_VaBuildValue)(format, values);
    va_end(values);
    return follow(Symbol::kName, built);
  }
};

#define SYMBOL(name)                                                                               \
  struct Symbol_##name {                                                                           \
    using Type = decltype(&::name);                                                                \
    static constexpr const char *kName = QUILLIX_NAME(name);                                       \
  };
#define NO_SYMBOL(name)
QUILLIX_SYMBOLS_1(SYMBOL)
QUILLIX_SYMBOLS_2(SYMBOL, NO_SYMBOL)
QUILLIX_LIST_SYMBOLS(SYMBOL)
QUILLIX_DICTIONARY_SYMBOLS(SYMBOL)

template <class R, class... A> constexpr bool givesNothing(R (*)(A...)) {
  return std::is_void_v<R>;
}
template <class R, class... A> constexpr bool givesNothing(R (*)(A..., ...)) { return false; }

template <class Symbol> void *standInFor(void *original) {
  StandIn<Symbol>::original = reinterpret_cast<typename Symbol::Type>(original);
  return reinterpret_cast<void *>(StandIn<Symbol>::call);
}

void *standInFor(const char *name, void *original) {
  using Maker = void *(*)(void *);
  static const std::map<std::string_view, Maker> makers = {
#define MAKER(name) {Symbol_##name::kName, standInFor<Symbol_##name>},
      QUILLIX_SYMBOLS_1(MAKER) QUILLIX_SYMBOLS_2(MAKER, NO_SYMBOL) QUILLIX_LIST_SYMBOLS(MAKER)
          QUILLIX_DICTIONARY_SYMBOLS(MAKER)};
  const auto found = makers.find(name);
  return original && found != makers.end() ? found->second(original) : original;
}

} // namespace

// What is asked of Python's own handle is the plug-in's; the tests ask for what is global.
static void *lookUp(void *library, const char *name, void *found) {
  static void *python = nullptr;
  if (std::strcmp(name, "Py_Initialize") == 0)
    python = library;
  return library && library == python ? standInFor(name, found) : found;
}

namespace slots {

void standBetween() {
  redirect::gLookUp = lookUp;
  redirect::plugin(host::pluginPath(QUILLIX_PLUGIN_PATH));
}

void failCall(int nth) {
  gCallsLeft = nth;
  gFailure = {};
}

Failure failure() { return gFailure; }

std::vector<std::string> functionsThatCanFail() {
  std::vector<std::string> names;
#define ADD(name)                                                                                  \
  if (wayOf(Symbol_##name::kName) != Way::Never && !givesNothing(Symbol_##name::Type()))           \
    names.emplace_back(Symbol_##name::kName);
  QUILLIX_SYMBOLS_1(ADD)
  QUILLIX_SYMBOLS_2(ADD, NO_SYMBOL)
  QUILLIX_LIST_SYMBOLS(ADD)
  QUILLIX_DICTIONARY_SYMBOLS(ADD)
  return names;
}

std::size_t objectsAlive() { return gAlive.size(); }

std::string describeObjectsAlive() {
  std::string text;
  for (PyObject *object : gAlive) {
    PyObject *const repr = PY(PyObject_Repr)(object);
    text += std::string(text.empty() ? "" : ", ") + Py_TYPE(object)->tp_name + ' ' +
            (repr ? PY(PyString_AsString)(repr) : "?");
    Py_XDECREF(repr);
  }
  return text;
}

void forgetObjects() { gAlive.clear(); }

} // namespace slots
