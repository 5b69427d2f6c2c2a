// What Python values are and how containers behave, told without Python: the expectation against
// which every call of the plug-in is held.
#pragma once

#include <Python.h>

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/runtime/heap.h"

namespace model {

enum class Kind { None, Bool, Int, Float, Str, Tuple, List, Dict, Capsule, Other };

// One value. Containers are shared by all that refer to them, as in Python.
struct Node {
  Kind kind = Kind::None;
  bool isLong = false;      // of an Int: Python's long type
  bool isBig = false;       // beyond 63 bits: in `magnitude`, when it is below 2**64
  bool isHuge = false;      // beyond what any accessor reads
  std::int64_t integer = 0; // of a Bool, too
  std::uint64_t magnitude = 0;
  double real = 0;
  std::string text{};
  REALobject object = nullptr; // not locked
  std::vector<Node *> items{};
  std::vector<std::pair<Node *, Node *>> entries{}; // of a Dict, in no order

  bool isInteger() const { return kind == Kind::Int || kind == Kind::Bool; }
  bool fitsInt32() const {
    return !isBig && !isHuge && integer == static_cast<std::int32_t>(integer);
  }
  bool countsAsLong() const { return isInteger() && (isLong || !fitsInt32()); }
};

// True, false, or unknown because Python code of its own decides.
using Answer = std::optional<bool>;
Answer equal(const Node *a, const Node *b); // as keys of a dict
Answer hashable(const Node *node);
Answer sort(std::vector<Node *> &items); // true when it could

// The values of one run.
class World {
public:
  Node *add(Node node);
  Node *none() { return add({}); }
  Node *boolean(bool value);
  Node *integer(std::int64_t value, bool isLong);
  Node *unsignedInteger(std::uint64_t value);
  Node *real(double value);
  Node *text(std::string_view bytes);
  Node *capsule(REALobject object);
  Node *container(Kind kind, std::vector<Node *> items = {});

  // What is there really, from now on. An object is one node, however often it is met.
  Node *learn(PyObject *object, REALobject (*ofCapsule)(PyObject *));
  void forgetAll();

private:
  std::deque<Node> nodes_;
  std::map<PyObject *, Node *> learned_;

public:
  void endLearning() { learned_.clear(); } // addresses may come to mean something else
};

// Whether the object is what the node says, all the way down.
bool agrees(const Node *node, PyObject *object, REALobject (*ofCapsule)(PyObject *));

} // namespace model
