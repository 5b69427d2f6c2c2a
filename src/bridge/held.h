// The Python object that a wrapper holds, and a call into Python with it.
#pragma once

#include "python/runtime.h"

// The one Python object that a wrapper owns a reference to, tagged with the interpreter that it
// belongs to. A wrapper whose interpreter has stopped holds nothing any more, also when another
// one has been started since; its reference is abandoned.
//
// All zero, as the host makes class data, is a wrapper that holds nothing.
struct HeldObject {
  PyObject *object;           // not null where there is an interpreter
  std::uintptr_t interpreter; // 0 for none

  // Borrowed; null when there is nothing to talk to. Every operation starts here.
  PyObject *borrow() const {
    if (interpreter != gInterpreter) [[unlikely]] {
      return nullptr;
    }
    assume(object != nullptr); // saves every operation a second test
    return object;
  }

  PyRef share() const { return PyRef::share(borrow()); }

  // Takes over a reference, or null, and releases the one that was held before.
  void hold(PyRef owned) {
    PyRef old(borrow());
    fill(std::move(owned));
  }

  // The same where nothing was held before.
  void fill(PyRef owned) {
    object = owned.release();
    interpreter = object ? gInterpreter : 0;
  }

  // For the destructor of the class that owns this data. Without an interpreter of ours nothing is
  // called and nothing released.
  void drop() {
    if (gPythonInitialized && borrow()) {
      interpreter = 0;
      PyRef::drop(object);
    }
  }
};

// A call into Python with a held object, borrowed: for calls that do not touch the object any more
// once code may have run that replaces it.
class BorrowedCall {
public:
  explicit BorrowedCall(const HeldObject &held) : BorrowedCall(held.borrow()) {}
  explicit BorrowedCall(PyObject *borrowed) : object_(borrowed) {}

  explicit operator bool() const { return object_ != nullptr; }
  PyObject *get() const { return object_; }

private:
  PythonCall call_;
  PyObject *object_;
};

// The same for calls that may: the object is kept alive, whatever that code does to the wrapper.
// Both are false when nothing is held.
class OwnedCall {
public:
  explicit OwnedCall(const HeldObject &held) : OwnedCall(held.borrow()) {}
  explicit OwnedCall(PyObject *borrowed) : object_(PyRef::share(borrowed)) {}

  explicit operator bool() const { return static_cast<bool>(object_); }
  PyObject *get() const { return object_.get(); }

private:
  PythonCall call_;
  PyRef object_; // released before the call ends
};
