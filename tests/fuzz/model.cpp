#include "tests/fuzz/model.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <set>

#include "tests/fuzz/python.h"

namespace model {
namespace {

long double number(const Node *node) {
  return node->kind == Kind::Float ? static_cast<long double>(node->real)
         : node->isBig             ? static_cast<long double>(node->magnitude)
                                   : static_cast<long double>(node->integer);
}

bool isNumber(const Node *node) { return node->isInteger() || node->kind == Kind::Float; }

// Decided by Python code, or by rules that are not told here.
bool isOdd(const Node *node) {
  return node->kind == Kind::Other || node->isHuge ||
         (node->kind == Kind::Float && std::isnan(node->real));
}

} // namespace

Answer equal(const Node *a, const Node *b) {
  if (a == b && !isOdd(a))
    return true;
  if (isOdd(a) || isOdd(b))
    return std::nullopt;
  if (isNumber(a) && isNumber(b))
    return number(a) == number(b);
  if (a->kind != b->kind)
    return false;
  switch (a->kind) {
  case Kind::None:
    return true;
  case Kind::Str:
    return a->text == b->text;
  case Kind::Tuple:
    if (a->items.size() != b->items.size())
      return false;
    for (std::size_t i = 0; i < a->items.size(); ++i)
      if (const Answer same = equal(a->items[i], b->items[i]); !same || !*same)
        return same;
    return true;
  default:
    return false; // a capsule is equal to itself alone
  }
}

Answer hashable(const Node *node) {
  if (isOdd(node))
    return std::nullopt;
  if (node->kind == Kind::List || node->kind == Kind::Dict)
    return false;
  Answer answer = true;
  for (const Node *item : node->items)
    if (const Answer each = hashable(item); !each || !*each)
      return each;
  return answer;
}

Answer sort(std::vector<Node *> &items) {
  const auto all = [&](auto test) { return std::all_of(items.begin(), items.end(), test); };
  if (all([](const Node *node) { return isNumber(node) && !isOdd(node); }))
    std::stable_sort(items.begin(), items.end(),
                     [](const Node *a, const Node *b) { return number(a) < number(b); });
  else if (all([](const Node *node) { return node->kind == Kind::Str; }))
    std::stable_sort(items.begin(), items.end(),
                     [](const Node *a, const Node *b) { return a->text < b->text; });
  else
    return std::nullopt;
  return true;
}

Node *World::add(Node node) { return &nodes_.emplace_back(std::move(node)); }
Node *World::boolean(bool value) { return add({.kind = Kind::Bool, .integer = value}); }
Node *World::integer(std::int64_t value, bool isLong) {
  return add({.kind = Kind::Int, .isLong = isLong, .integer = value});
}
Node *World::unsignedInteger(std::uint64_t value) {
  return value > INT64_MAX
             ? add({.kind = Kind::Int, .isLong = true, .isBig = true, .magnitude = value})
             : integer(static_cast<std::int64_t>(value), true);
}
Node *World::real(double value) { return add({.kind = Kind::Float, .real = value}); }
Node *World::text(std::string_view bytes) {
  return add({.kind = Kind::Str, .text = std::string(bytes)});
}
Node *World::capsule(REALobject object) { return add({.kind = Kind::Capsule, .object = object}); }
Node *World::container(Kind kind, std::vector<Node *> items) {
  return add({.kind = kind, .items = std::move(items)});
}

void World::forgetAll() {
  nodes_.clear();
  learned_.clear();
}

namespace {

// An int or long as it is.
Node readInteger(PyObject *object) {
  Node node{.kind = Py_TYPE(object) == PY(PyBool_Type) ? Kind::Bool : Kind::Int,
            .isLong = PyLong_Check(object) != 0};
  if (!node.isLong) {
    node.integer = PyInt_AS_LONG(object);
    return node;
  }
  int overflow = 0;
  node.integer = PY(PyLong_AsLongLongAndOverflow)(object, &overflow);
  if (overflow > 0) {
    const std::size_t bits = PY(_PyLong_NumBits)(object);
    node.isBig = bits <= 64;
    if (node.isBig)
      node.magnitude = PY(PyLong_AsUnsignedLongLongMask)(object);
  }
  node.isHuge = overflow != 0 && !node.isBig;
  return node;
}

std::string_view bytesOf(PyObject *string) {
  return {PyString_AS_STRING(string), static_cast<std::size_t>(PyString_GET_SIZE(string))};
}

// Without what is in it.
Node describe(PyObject *object, REALobject (*ofCapsule)(PyObject *)) {
  PyTypeObject *const type = Py_TYPE(object);
  if (object == PY(_Py_NoneStruct))
    return {};
  if (PyInt_Check(object) || PyLong_Check(object))
    return readInteger(object);
  if (PyString_Check(object))
    return {.kind = Kind::Str, .text = std::string(bytesOf(object))};
  if (PY(PyType_IsSubtype)(type, PY(PyFloat_Type)))
    return {.kind = Kind::Float, .real = PyFloat_AS_DOUBLE(object)};
  if (type == PY(PyTuple_Type))
    return {.kind = Kind::Tuple};
  if (type == PY(PyList_Type))
    return {.kind = Kind::List};
  if (type == PY(PyDict_Type))
    return {.kind = Kind::Dict};
  if (type == PY(PyCapsule_Type))
    return {.kind = Kind::Capsule, .object = ofCapsule(object)};
  return {.kind = Kind::Other};
}

template <class Use> void forItems(PyObject *object, Use use) {
  for (Py_ssize_t i = 0; i < Py_SIZE(object); ++i)
    use(Py_TYPE(object) == PY(PyList_Type) ? PyList_GET_ITEM(object, i)
                                           : PyTuple_GET_ITEM(object, i));
}

template <class Use> void forEntries(PyObject *dict, Use use) {
  Py_ssize_t position = 0;
  PyObject *key = nullptr, *value = nullptr;
  while (PY(PyDict_Next)(dict, &position, &key, &value))
    use(key, value);
}

using Pairs = std::set<std::pair<const Node *, PyObject *>>;

bool agreesWithin(const Node *node, PyObject *object, REALobject (*ofCapsule)(PyObject *),
                  Pairs &seen) {
  if (!seen.emplace(node, object).second)
    return true;
  const Node there = describe(object, ofCapsule);
  if (there.kind != node->kind || there.isLong != node->isLong || there.isBig != node->isBig ||
      there.isHuge != node->isHuge || there.magnitude != node->magnitude ||
      (!there.isHuge && !there.isBig && there.integer != node->integer) ||
      std::bit_cast<std::uint64_t>(there.real) != std::bit_cast<std::uint64_t>(node->real) ||
      there.text != node->text || there.object != node->object)
    return false;
  const auto within = [&](const Node *item, PyObject *itemObject) {
    return agreesWithin(item, itemObject, ofCapsule, seen);
  };
  if (node->kind == Kind::Tuple || node->kind == Kind::List) {
    std::size_t i = 0;
    bool same = static_cast<std::size_t>(Py_SIZE(object)) == node->items.size();
    forItems(object, [&](PyObject *item) { same = same && within(node->items[i++], item); });
    return same;
  }
  if (node->kind == Kind::Dict) {
    std::size_t found = 0;
    bool same = true;
    forEntries(object, [&](PyObject *key, PyObject *value) {
      const auto entry =
          std::find_if(node->entries.begin(), node->entries.end(), [&](const auto &each) {
            Pairs keySeen = seen;
            return agreesWithin(each.first, key, ofCapsule, keySeen);
          });
      same = same && entry != node->entries.end() && within(entry->second, value);
      ++found;
    });
    return same && found == node->entries.size();
  }
  return true;
}

} // namespace

Node *World::learn(PyObject *object, REALobject (*ofCapsule)(PyObject *)) {
  Node *&known = learned_[object];
  if (known)
    return known;
  Node *const node = known = add(describe(object, ofCapsule));
  if (node->kind == Kind::Tuple || node->kind == Kind::List)
    forItems(object, [&](PyObject *item) { node->items.push_back(learn(item, ofCapsule)); });
  if (node->kind == Kind::Dict)
    forEntries(object, [&](PyObject *key, PyObject *value) {
      node->entries.emplace_back(learn(key, ofCapsule), learn(value, ofCapsule));
    });
  return node;
}

bool agrees(const Node *node, PyObject *object, REALobject (*ofCapsule)(PyObject *)) {
  Pairs seen;
  return agreesWithin(node, object, ofCapsule, seen);
}

} // namespace model
