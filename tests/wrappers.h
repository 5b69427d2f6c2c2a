// What the tests of the value wrappers share: typed accessors called by the C++ type of the value,
// all that can be read of a value as one line of text, and a look at the object that a wrapper
// holds.
#pragma once

#include "tests/support.h"

#include <sstream>
#include <type_traits>

// --- Accessors ---

// A getter, type test or assignable method, whatever its class takes to say which value is meant:
// an index, a key or nothing.
struct Accessor {
  std::string name;
  std::string type;
};

extern const std::vector<Accessor> kAccessors;        // of all classes
extern const std::vector<Accessor> kWrapperAccessors; // those that give another wrapper

// Empty where the class has no such accessor; a property gives its bare name.
std::string declarationOf(const host::Class &type, const Accessor &accessor);

template <class R, class... Place>
R read(const host::Object &wrapper, const Accessor &accessor, const Place &...place) {
  if constexpr (sizeof...(Place) == 0)
    if (host::findProperty(wrapper.type(), accessor.name))
      return wrapper.get<R>(accessor.name.c_str());
  return wrapper.call<R>(declarationOf(wrapper.type(), accessor).c_str(), place...);
}

// The accessor for values of a C++ type: IntegerValue for an int, and so on.
template <class V> Accessor accessorFor() {
  using T = std::remove_cvref_t<V>;
  const char *type =
      std::is_same_v<T, bool> || std::is_same_v<T, REALboolean> || std::is_same_v<T, HostBoolean>
          ? "Boolean"
      : std::is_same_v<T, int>           ? "Integer"
      : std::is_same_v<T, std::int64_t>  ? "Int64"
      : std::is_same_v<T, std::uint64_t> ? "UInt64"
      : std::is_same_v<T, double>        ? "Double"
      : std::is_same_v<T, host::Object>  ? "Object"
                                         : "String";
  return {type + std::string("Value"), type};
}

template <class V, class Place> V get(const host::Object &wrapper, const Place &place) {
  return read<V>(wrapper, accessorFor<V>(), place);
}
template <class V, class Place>
void put(const host::Object &wrapper, const Place &place, const V &value) {
  wrapper.assign(declarationOf(wrapper.type(), accessorFor<V>()).c_str(), place, value);
}

// --- All that can be read of a value ---

// What is called for and comes back, as text; empty for the zero value.
template <class... Place>
std::string readText(const host::Object &wrapper, const Accessor &a, const Place &...place) {
  const auto text = [&]<class V>(V zero) {
    const V value = read<V>(wrapper, a, place...);
    return value == zero ? std::string() : (std::ostringstream() << std::boolalpha << value).str();
  };
  if (a.type == "String") {
    const host::String string = read<host::String>(wrapper, a, place...);
    EXPECT_TRUE(!string || string.encoding() == kEncodingUTF8 || string.text().empty());
    return std::string(string.text());
  }
  if (a.type.starts_with("Python") || a.type == "Object") {
    const host::Object object = read<host::Object>(wrapper, a, place...);
    return object ? object.className() : "";
  }
  return a.type == "Boolean"  ? text(false)
         : a.type == "Double" ? text(0.0)
         : a.type == "Int64"  ? text(std::int64_t{0})
         : a.type == "UInt64" ? text(std::uint64_t{0})
                              : text(0);
}

// The class of the Python error that `act` leaves, empty for none. It runs twice, the second time
// with another error pending, which must outlive it unless it leaves one of its own.
std::string errorAfter(const std::function<void()> &act);
#define EXPECT_LEAVES(error, statement)                                                            \
  EXPECT_EQ(errorAfter([&] { statement; }), error) << #statement

// Every type test that is True and every getter that gives more than its zero value, in one line:
// "IsInteger IntegerValue=5". A getter that leaves a Python error has its class behind it, as in
// "IntegerValue=-1!OverflowError".
template <class... Place> std::string view(const host::Object &wrapper, const Place &...place) {
  std::string line;
  for (const Accessor &accessor : kAccessors) {
    if (declarationOf(wrapper.type(), accessor).empty())
      continue;
    std::vector<std::string> texts;
    const std::string error =
        errorAfter([&] { texts.push_back(readText(wrapper, accessor, place...)); });
    EXPECT_EQ(texts.front(), texts.back()) << accessor.name << " with an error pending";
    if (!texts.front().empty() || !error.empty())
      line += (line.empty() ? "" : " ") + accessor.name +
              (accessor.name.starts_with("Is") ? "" : "=" + texts.front()) +
              (error.empty() ? "" : "!" + error);
  }
  return line;
}

// Of such a line, what a class has accessors for.
std::string offered(std::string_view className, const std::string &line);

// --- Wrappers and what they hold ---

inline host::Object newDictionary() { return host::create("PythonDictionary", "Constructor()"); }
inline host::Object newList() { return host::create("PythonList", "Constructor()"); }
inline host::Object getItem(const host::Object &list, int index) {
  return list.call<host::Object>("GetItem(index as Integer) as PythonEntity", index);
}
inline host::Object asTuple(const host::Object &list) {
  return list.call<host::Object>("AsTuple() as PythonParameters");
}
inline host::Object keysOf(const host::Object &dictionary) {
  return dictionary.call<host::Object>("GetKeys() as PythonList");
}
inline host::Object valuesOf(const host::Object &dictionary) {
  return dictionary.call<host::Object>("GetValues() as PythonList");
}
inline void append(const host::Object &list, const host::Object &value) {
  list.call("Append(value as PythonEntityBase)", value);
}
// The factories and constructors by the C++ type of the value; an int is an Int32 to them.
template <class V> std::string singleType() {
  const std::string type = accessorFor<V>().type;
  return type == "Integer" ? "Int32" : type;
}
template <class V> host::Object newEntity(const V &value) {
  const std::string type = singleType<V>();
  return host::callShared<host::Object>(
      "PythonEntity", ("From" + type + "(value as " + type + ") as PythonEntity").c_str(), value);
}
template <class V> host::Object newResult(const V &value) {
  return host::create("PythonResult", ("Constructor(value as " + singleType<V>() + ")").c_str(),
                      value);
}

// A wrapper of each class over what the expression gives, which must be of the fitting type.
host::Object listOf(const std::string &expression);
host::Object dictionaryOf(const std::string &expression);
host::Object entityOf(const std::string &expression);

// Borrowed from the wrapper, which must hold something.
PyObject *heldBy(const host::Object &wrapper);
// Borrowed from the result, likewise.
PyObject *heldByResult(const host::Object &result);

std::string reprOf(PyObject *object);
inline std::string reprOf(const host::Object &wrapper) { return reprOf(heldBy(wrapper)); }

// Makes an object known to Python code in __main__.
void letPythonSee(const char *name, PyObject *object);

// Publishes "host.call()", which runs this.
void letPythonCall(std::function<void()> hostCode);

// The interpreter runs and has a tuple, __main__.value.
class WrapperTest : public RunningTest {
protected:
  void SetUp() override;
};

// Calls each operation on a new wrapper while Python code in its midst calls host code, which does
// each of the operations to that wrapper, in turn, and tries to stop the interpreter. The host code
// must get to run, and the interpreter must go on. Where the last operation gives the wrapper
// something else to hold, what it held before, with `value` in it, must last until the call is
// over.
using Operation = std::function<void(const host::Object &)>;
void expectReentrant(const std::function<host::Object()> &make,
                     const std::vector<Operation> &operations, bool lastReplaces = false);
