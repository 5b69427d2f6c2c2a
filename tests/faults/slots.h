// Between the plug-in and Python: every function that the plug-in looks up is handed to it through
// a stand-in, which counts its calls, can be told to fail, and follows the objects that it makes.
// The stand-ins come from the list of symbols, so a new symbol has one too.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace slots {

// From the next load of the plug-in on.
void standBetween();

// The nth call from now of a function that can fail does so, 1 being the next; 0: none does.
void failCall(int nth);

// What has failed since then; a null function for nothing.
struct Failure {
  const char *function;
  bool setsError; // a Python error, as the function documents it
};
Failure failure();
std::vector<std::string> functionsThatCanFail();

// Objects that the plug-in has had made for itself, and that are alive.
std::size_t objectsAlive();
std::string describeObjectsAlive(); // their types and values
void forgetObjects();               // when their interpreter has gone

} // namespace slots
