// PythonList: a list, changed in place or swapped for a new one by Clear.

#include "tests/wrappers.h"

#include <climits>

namespace {

using host::Object;
using ListTest = WrapperTest;

void insert(const Object &list, int index, const Object &value) {
  list.call("Insert(index as Integer, value as PythonEntityBase)", index, value);
}
void setItem(const Object &list, int index, const Object &value) {
  list.call("SetItem(index as Integer, value as PythonEntityBase)", index, value);
}

TEST_F(ListTest, pythonPlacesWhatIsInserted) {
  const std::pair<int, const char *> rows[] = {
      {-1, "[1, 9L, 2]"}, {1, "[1, 9L, 2]"}, {INT_MAX, "[1, 2, 9L]"}, {INT_MIN, "[9L, 1, 2]"}};
  for (const auto &[index, repr] : rows) {
    const Object list = listOf("[1, 2]");
    insert(list, index, newEntity(9));
    EXPECT_EQ(reprOf(list), repr);
  }
}

TEST_F(ListTest, whatFailsChangesNothing) {
  const Object list = listOf("[1, 2, 3]"), value = newEntity(1000), nil;
  const Object empty = host::create("PythonEntity", "Constructor()");
  EXPECT_LEAVES("", append(list, nil));
  EXPECT_LEAVES("", insert(list, 0, nil));
  EXPECT_LEAVES("", setItem(list, 0, nil));
  EXPECT_LEAVES("", setItem(list, 0, empty));
  EXPECT_LEAVES("SystemError", append(list, empty));
  EXPECT_LEAVES("SystemError", insert(list, 0, empty));
  for (const int index : {-1, 3, INT_MIN, INT_MAX}) {
    EXPECT_LEAVES("IndexError", EXPECT_EQ(getItem(list, index), nullptr));
    EXPECT_LEAVES("IndexError", setItem(list, index, value));
  }
  EXPECT_EQ(reprOf(list), "[1, 2, 3]");
  runPython("class Odd(object):\n  def __lt__(self, other): raise ArithmeticError");
  listOf("[Odd(), Odd()]").call("Sort()");
  EXPECT_EQ(takeErrorClass(), "ArithmeticError");
}

// Both take a new list and let the old one go as it is; a tuple is a copy.
TEST_F(ListTest, clearTakesANewList) {
  for (const char *anew : {"Clear()", "Constructor()"}) {
    runPython("shared = [5, value]");
    const Object list = listOf("shared"), tuple = asTuple(list);
    EXPECT_LEAVES("", put(tuple, 0, 9));
    list.call(anew);
    EXPECT_EQ(reprOf(list) + reprOf(Evaluated("shared").get()), "[][5, (1, 2)]");
  }
}

TEST_F(ListTest, anItemMayCallHostCode) {
  runPython("class Item(object):\n"
            "  def __lt__(self, other): return host.call() is self\n"
            "  def __del__(self): host.call()");
  expectReentrant([] { return listOf("[Item(), Item(), value]"); },
                  {[](auto &list) { list.call("Sort()"); },
                   [](auto &list) { list.call("Clear()"); },
                   [](auto &list) { list.call("Constructor()"); },
                   [](auto &list) { setItem(list, 0, newEntity(5)); }});
}

// Making a container may collect garbage, and with it run a weak reference's callback, which
// replaces what is being read. The containers that Python keeps for later use are used up first.
TEST_F(ListTest, aCollectionMayCallHostCode) {
  runPython("import gc, weakref\n"
            "class Cycle(object): pass\n"
            "def litter():\n"
            "  global callback, hoard\n"
            "  gc.disable(); hoard = None\n"
            "  cycle = Cycle(); cycle.me = cycle\n"
            "  callback = weakref.ref(cycle, lambda ref: host.call())\n"
            "  hoard = [[] for i in xrange(100)], [{} for i in xrange(100)]\n"
            "  gc.set_threshold(1)\n"
            "  gc.enable()");
  const Evaluated litter("litter");
  const auto littered = [&](const Object &wrapper) {
    Py_XDECREF(PY(PyObject_CallObject)(litter.get(), nullptr));
    return wrapper;
  };
  const Operation construct = [](auto &wrapper) { wrapper.call("Constructor()"); };
  expectReentrant([&] { return littered(listOf("[value] * 30")); },
                  {asTuple, construct, [](auto &list) { list.call("Clear()"); }});
  expectReentrant([&] { return littered(dictionaryOf("{(value,): [value]}")); },
                  {construct, keysOf, valuesOf});
}

// A subclass of long turns itself into an int with code of its own.
TEST_F(ListTest, aLongMayCallHostCodeAsItConverts) {
  runPython("class Talking(long):\n"
            "  def __int__(self): return host.call() or 7");
  expectReentrant([] { return entityOf("Talking(5)"); },
                  {[](auto &e) { EXPECT_EQ(e.template get<int>("Int32Value"), 7); }});
}

} // namespace
