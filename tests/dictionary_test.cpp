// PythonDictionary: a dict, read and written by String keys or by any Python value as a key.

#include "tests/wrappers.h"

namespace {

using host::Object;
using DictionaryTest = WrapperTest;

// The operations that take either kind of key, by the type of the key.
template <class Key> const char *by(const char *name, const char *entity) {
  return std::is_same_v<Key, Object> ? entity : name;
}
template <class Key> bool contains(const Object &d, const Key &key) {
  return d.call<bool>(
      by<Key>("Contains(key as String) as Boolean", "Contains(key as PythonEntityBase) as Boolean"),
      key);
}
template <class Key> Object getValue(const Object &d, const Key &key) {
  return d.call<Object>(by<Key>("GetValue(key as String) as PythonEntity",
                                "GetValue(key as PythonEntityBase) as PythonEntity"),
                        key);
}
template <class Key> void setValue(const Object &d, const Key &key, const Object &value) {
  d.call(by<Key>("SetValue(key as String, value as PythonEntityBase)",
                 "SetValue(key as PythonEntityBase, value as PythonEntityBase)"),
         key, value);
}
template <class Key> void removeKey(const Object &d, const Key &key) {
  d.call(by<Key>("Remove(key as String)", "Remove(key as PythonEntityBase)"), key);
}

// No dictionary or list was constructed before, so nothing has looked these functions up yet.
TEST_F(DictionaryTest, worksBeforeAnyWasConstructed) {
  runPython("shared = {'a': 1, 'b': 2}");
  const Object d = dictionaryOf("shared"), keys = keysOf(d), values = valuesOf(d);
  EXPECT_EQ(reprOf(keys) + reprOf(values), "['a', 'b'][1, 2]");
  removeKey(d, "a");
  EXPECT_EQ(reprOf(d), "{'b': 2}");
  keys.call("Reverse()");
  d.call("Clear()"); // in place
  EXPECT_EQ(reprOf(Evaluated("shared").get()), "{}");
  EXPECT_EQ(reprOf(keys) + reprOf(values), "['b', 'a'][1, 2]");
}

TEST_F(DictionaryTest, keysAreTheBytesOfTheString) {
  const Object d = newDictionary();
  const std::string keys[] = {"a", {"a\0", 2}, {"a\0b", 3}, "\xc3\xa9", "\xe9"};
  for (int i = 0; i < 5; ++i)
    put(d, keys[i], i);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(d.get<int>("Count"), 5 - i);
    EXPECT_EQ(get<int>(d, keys[i]), i);
    EXPECT_EQ(reprOf(getValue(d, keys[i])), std::to_string(i));
    EXPECT_TRUE(contains(d, keys[i]));
    removeKey(d, keys[i]);
    EXPECT_FALSE(contains(d, keys[i]));
  }
}

TEST_F(DictionaryTest, theEmptyStringIsNoKey) {
  const Object d = dictionaryOf("{'': 5}");
  for (const host::String &key : {host::String(), host::String::emptyObject()}) {
    EXPECT_EQ(view(d, key), "");
    EXPECT_LEAVES("", EXPECT_FALSE(contains(d, key) || getValue(d, key)));
    EXPECT_LEAVES("", put(d, key, Object()); setValue(d, key, newEntity(6)); removeKey(d, key));
  }
  EXPECT_EQ(reprOf(d), "{'': 5}");
}

TEST_F(DictionaryTest, whatFailsChangesNothing) {
  const Object d = dictionaryOf("{'key': 5, 7: 'seven', (1,): 'tuple'}");
  const std::string before = reprOf(d);
  const Object seven = newEntity(7), missing = newEntity(99), unhashable = newList();
  EXPECT_LEAVES("", EXPECT_FALSE(getValue(d, "none") || contains(d, missing)));
  EXPECT_LEAVES("KeyError", removeKey(d, "none"));
  EXPECT_LEAVES("KeyError", removeKey(d, missing));
  EXPECT_LEAVES("ValueError", put(d, "key", Object()));
  EXPECT_LEAVES("TypeError", EXPECT_TRUE(contains(d, unhashable)));
  EXPECT_LEAVES("TypeError", setValue(d, unhashable, seven));
  EXPECT_LEAVES("TypeError", removeKey(d, unhashable));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(getValue(d, unhashable), nullptr); // Python forgets what was pending
    EXPECT_EQ(takeErrorClass(), "");
    quillix::setError(1, "pending");
  }
  quillix::clearError();
  for (const Object &empty : {Object(), host::create("PythonEntity")})
    EXPECT_LEAVES("", EXPECT_FALSE(contains(d, empty) || getValue(d, empty));
                  setValue(d, empty, seven); setValue(d, "key", empty); removeKey(d, empty));
  EXPECT_EQ(reprOf(d), before);
}

constexpr const char *kTalkativeClasses = R"(
class Key(object):
  def __hash__(self): return host.call() or hash('key')
  def __eq__(self, other): return host.call() is None
  def __repr__(self): return 'Key'
class Last(object):
  def __del__(self): host.call())";

TEST_F(DictionaryTest, aKeyOrValueMayCallHostCode) {
  runPython(kTalkativeClasses);
  const auto key = [] { return entityOf("Key()"); };
  expectReentrant([] { return dictionaryOf("{Key(): Last(), 'other': value}"); },
                  {[](auto &d) { get<std::string>(d, "key"); }, [](auto &d) { put(d, "key", 5); },
                   [](auto &d) { contains(d, "key"); }, [](auto &d) { getValue(d, "key"); },
                   [](auto &d) { setValue(d, "key", newEntity(5)); },
                   [](auto &d) { removeKey(d, "key"); }, [&](auto &d) { contains(d, key()); },
                   [&](auto &d) { getValue(d, key()); },
                   [&](auto &d) { setValue(d, key(), entityOf("value")); },
                   [&](auto &d) { removeKey(d, key()); }, [](auto &d) { d.call("Clear()"); },
                   [](auto &d) { d.call("Constructor()"); }},
                  true);
}

TEST_F(DictionaryTest, whatTheArgumentsHoldMayBeReplacedMeanwhile) {
  runPython(kTalkativeClasses);
  const Object d = newDictionary();
  Object key, value;
  letPythonCall([&] {
    key.call("Constructor(parameterCount as Integer)", 1);
    value.call("Clear()");
  });
  const std::function<void()> operations[] = {
      [&] { setValue(d, key, value); }, [&] { EXPECT_TRUE(contains(d, key)); },
      [&] { EXPECT_EQ(reprOf(getValue(d, key)), "[(1, 2)]"); }, [&] { removeKey(d, key); }};
  for (const auto &operation : operations) {
    key = tupleOf("(Key(), value)");
    value = listOf("[value]");
    operation();
    EXPECT_EQ(reprOf(key) + reprOf(value), "(None,)[]");
    EXPECT_EQ(reprOf(d), &operation < operations + 3 ? "{(Key, (1, 2)): [(1, 2)]}" : "{}");
  }
  EXPECT_EQ(takeErrorClass(), "");
}

} // namespace
