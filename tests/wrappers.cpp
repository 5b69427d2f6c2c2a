#include "tests/wrappers.h"

using host::Object;

const std::vector<Accessor> kWrapperAccessors = {
    {"TupleValue", "PythonParameters"},
    {"DictionaryValue", "PythonDictionary"},
    {"ListValue", "PythonList"},
};

const std::vector<Accessor> kAccessors = {
    {"IsInteger", "Boolean"},    {"IsBigInteger", "Boolean"}, {"IsDouble", "Boolean"},
    {"IsString", "Boolean"},     {"IsBoolean", "Boolean"},    {"IsObject", "Boolean"},
    {"IsTuple", "Boolean"},      {"IsDictionary", "Boolean"}, {"IsList", "Boolean"},
    {"IntegerValue", "Integer"}, {"Int32Value", "Int32"},     {"Int64Value", "Int64"},
    {"UInt64Value", "UInt64"},   {"DoubleValue", "Double"},   {"BooleanValue", "Boolean"},
    {"StringValue", "String"},   {"ObjectValue", "Object"},   kWrapperAccessors[0],
    kWrapperAccessors[1],        kWrapperAccessors[2],
};

std::string declarationOf(const host::Class &type, const Accessor &accessor) {
  for (const char *place : {"(index as Integer)", "(key as String)", "()"}) {
    std::string declaration = accessor.name + place + " as " + accessor.type;
    if (host::findMethod(type, declaration))
      return declaration;
  }
  return host::findProperty(type, accessor.name) ? accessor.name : "";
}

std::string errorAfter(const std::function<void()> &act) {
  act();
  const std::string error = takeErrorClass();
  PY(PyErr_SetString)(*PY(PyExc_ZeroDivisionError), "pending");
  act();
  const std::string pending = takeErrorClass();
  return pending == (error.empty() ? "ZeroDivisionError" : error) ? error : "now " + pending;
}

std::string offered(std::string_view className, const std::string &line) {
  std::istringstream tokens(line);
  std::string kept;
  for (std::string token; std::getline(tokens, token, ' ');)
    for (const Accessor &accessor : kAccessors)
      if (token.substr(0, token.find_first_of("=!")) == accessor.name &&
          !declarationOf(host::requireClass(className), accessor).empty())
        kept += (kept.empty() ? "" : " ") + token;
  return kept;
}

Object listOf(const std::string &expression) {
  return read<Object>(tupleOf("(" + expression + ",)"), kWrapperAccessors[2], 0);
}

Object dictionaryOf(const std::string &expression) {
  return read<Object>(tupleOf("(" + expression + ",)"), kWrapperAccessors[1], 0);
}

Object entityOf(const std::string &expression) {
  return getItem(listOf("[" + expression + "]"), 0);
}

PyObject *heldBy(const Object &wrapper) {
  Evaluated box("([],)");
  append(read<Object>(quillix::parametersOver(box.get()), kWrapperAccessors[2], 0), wrapper);
  return PY(PyList_GetItem)(PyTuple_GET_ITEM(box.get(), 0), 0);
}

PyObject *heldByResult(const Object &result) {
  auto *const object = static_cast<PyObject *>(result.call<void *>("GetPtr() as Ptr"));
  Py_DECREF(object);
  return object;
}

std::string reprOf(PyObject *object) {
  PyObject *const text = PY(PyObject_Repr)(object);
  const std::string repr = PyString_AS_STRING(text);
  Py_DECREF(text);
  return repr;
}

void letPythonSee(const char *name, PyObject *object) {
  PY(PyObject_SetAttrString)(PY(PyImport_AddModule)("__main__"), name, object);
}

static std::function<void()> gHostCode;

static PyObject *runHostCode(PyObject *, PyObject *) {
  gHostCode();
  return PY(Py_BuildValue)("");
}

void letPythonCall(std::function<void()> hostCode) {
  gHostCode = std::move(hostCode);
  const Object module = host::create(
      "PythonXojoModule", "Constructor(name as String, methodCount as UInt32)", "host", 1U);
  module.call("RegisterFunction(name as String, fuction as Ptr)", "call", runHostCode);
  host::callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", module);
  runPython("import host");
}

void WrapperTest::SetUp() {
  RunningTest::SetUp();
  runPython("value = (1, 2)");
}

void expectReentrant(const std::function<Object()> &make, const std::vector<Operation> &operations,
                     bool lastReplaces) {
  Object wrapper;
  std::vector<std::function<void()>> acts = {quillix::finalize};
  for (const Operation &operation : operations)
    acts.push_back([&] { operation(wrapper); });
  std::function<void()> act; // once
  bool replaces = false;
  const PyObject *const value = Evaluated("value").get(); // __main__ keeps it
  letPythonCall([&] {
    const Py_ssize_t references = value->ob_refcnt;
    if (const auto now = std::exchange(act, {}))
      now();
    EXPECT_TRUE(!replaces || value->ob_refcnt >= references) << "what is in use has gone";
  });
  for (std::size_t i = 0; i < operations.size(); ++i)
    for (std::size_t j = 0; j < acts.size(); ++j) {
      SCOPED_TRACE("operation " + std::to_string(i) + ", act " + std::to_string(j));
      wrapper = make();
      act = acts[j];
      replaces = lastReplaces && j + 1 == acts.size();
      operations[i](wrapper);
      EXPECT_FALSE(act) << "no host code ran";
      act = {};
      wrapper = nullptr;
      quillix::clearError();
      ASSERT_TRUE(PY(Py_IsInitialized)());
    }
}
