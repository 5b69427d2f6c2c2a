// Calls every member that a plug-in registered, for promises that hold of all of them alike.
#pragma once

#include "host/runtime/member.h"

#include <functional>
#include <string>
#include <vector>

class Tour {
public:
  // Strings and objects as arguments are all nil, or one of each.
  explicit Tour(bool nilArguments) : nil_(nilArguments) {}

  // Every class, on a bare instance and on the class itself.
  void visitClasses();

  // One instance: the methods in table order, constructors first, then the getters.
  void visit(const host::Object &instance);

  // The wrappers of an interpreter that is gone, whether another one runs or not: all but what
  // gives them something new to hold. `answers` must stay empty, but for what needs no Python.
  static std::vector<std::string> answersOf(const std::vector<host::Object> &oldWrappers);

  std::vector<std::string> answers;      // members whose result was not the zero value
  void (*takePointer)(void *) = nullptr; // takes over the reference that a Ptr result is
  std::function<bool(std::string_view name)> wanted; // what to call; everything, when empty
  int calls = 0;

private:
  void call(const host::Member &member, const host::Object &self);
  host::Value argument(const host::Type &type) const;

  const bool nil_;
};
