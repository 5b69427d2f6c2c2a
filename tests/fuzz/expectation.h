// What each call of a value wrapper must answer and change, by the model.
#pragma once

#include "host/runtime/member.h"
#include "tests/fuzz/model.h"

namespace model {

struct Wrapper {
  Node *held = nullptr; // null for nothing
  int lastError = 0;
};

struct Expected {
  host::Value value;    // of a result that is no wrapper
  Node *held = nullptr; // by the wrapper, or pointed to by the Ptr, that is the result
  bool error = false;   // Python's error is set
  bool cleared = false; // one that was set before is gone
};

struct Expectation {
  World &world;
  std::map<REALobject, Wrapper> &wrappers;
  bool running;
  bool (*isWritable)(REALobject parameters); // nobody else refers to its tuple

  // Applies the call to the model. Empty when the model does not know what happens; it must be made
  // anew then.
  std::optional<Expected> of(const host::Member &member, REALobject object,
                             std::span<const host::Value> arguments);

private:
  using Result = std::optional<Expected>;
  Result ofParameters(const std::string &declaration, bool setter, Wrapper &self,
                      std::span<const host::Value> arguments, REALobject object);
  Result ofList(const std::string &name, Wrapper &self, std::span<const host::Value> arguments);
  Result ofDictionary(const std::string &name, bool setter, Wrapper &self,
                      std::span<const host::Value> arguments);
  Result ofResult(const host::Member &member, const std::string &name, Wrapper &self,
                  std::span<const host::Value> arguments);
  Result store(Node *dict, Node *key, Node *value);
  Node *heldBy(const host::Value &wrapper);
  Node *make(const std::string &type, const host::Value &value, bool isLong);
};

} // namespace model
