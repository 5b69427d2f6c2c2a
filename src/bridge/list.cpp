// PythonList: a list, changed in place or swapped for a new one by Clear. Indexes go to Python
// unchanged, and Python's own rules for each call apply.

#include "bridge/bridge.h"

constinit HostClass PythonListClassRef("PythonList");

void PythonList_InitAPI() {
  EPyList_New = nullptr;
  PythonListClassRef.forget();
}

namespace {

// Runs for every new instance, whoever makes it, so that no list meets an empty slot.
void Initializer(REALobject) {
  if (!EPyList_New) {
    PythonList_LoadAPI();
  }
}

// The held list, borrowed; null as long as the library does not have the list functions.
inline PyObject *heldList(REALobject self) {
  return EPyList_New ? entityHeld(self).borrow() : nullptr;
}

// Also the host's Clear: the old list is let go, not emptied, for others may hold it.
void holdNewList(REALobject self) {
  PythonCall call;
  if (interpreterRuns() && EPyList_New) {
    entityHeld(self).hold(PyRef(EPyList_New(0)));
  }
}

constexpr auto PythonList_Constructor = holdNewList;
constexpr auto PythonList_Clear = holdNewList;

// --- Items. An empty wrapper is null to Python, which refuses it with SystemError. The list may be
// borrowed here: only as an old item goes can code run, and Python is done with the list then. ---

void PythonList_Append(REALobject self, REALobject value) {
  BorrowedCall list(heldList(self));
  if (list && value) {
    EPyList_Append(list.get(), entityHeld(value).borrow());
  }
}

void PythonList_Insert(REALobject self, std::int32_t index, REALobject value) {
  BorrowedCall list(heldList(self));
  if (list && value) {
    EPyList_Insert(list.get(), index, entityHeld(value).borrow());
  }
}

REALobject PythonList_GetItem(REALobject self, std::int32_t index) {
  BorrowedCall list(heldList(self));
  PyRef item = PyRef::share(list ? EPyList_GetItem(list.get(), index) : nullptr);
  return item ? newEntity(std::move(item)) : nullptr;
}

void PythonList_SetItem(REALobject self, std::int32_t index, REALobject value) {
  BorrowedCall list(heldList(self));
  PyRef item = shareHeld(value);
  if (list && item) {
    EPyList_SetItem(list.get(), index, item.release()); // stolen, also when refused
  }
}

// --- The whole list ---

REALobject PythonList_AsTuple(REALobject self) {
  OwnedCall list(heldList(self));
  PyRef tuple(list ? EPyList_AsTuple(list.get()) : nullptr);
  return tuple ? newParameters(std::move(tuple)) : nullptr;
}

void PythonList_Sort(REALobject self) {
  OwnedCall list(heldList(self));
  if (list) {
    EPyList_Sort(list.get());
  }
}

void PythonList_Reverse(REALobject self) {
  OwnedCall list(heldList(self));
  if (list) {
    EPyList_Reverse(list.get());
  }
}

std::intptr_t PythonList_Count(REALobject self) {
  BorrowedCall list(heldList(self));
  return list ? EPyList_Size(list.get()) : 0;
}

} // namespace

using declare::method;

static REALproperty PythonListProperties[] = {
    declare::property<"Count", "Integer", PythonList_Count>(),
};

static REALmethodDefinition PythonListMethods[] = {
    method<"Constructor()", PythonList_Constructor>(),
    method<"Clear()", PythonList_Clear>(),
    method<"Append(value as PythonEntityBase)", PythonList_Append>(),
    method<"Insert(index as Integer, value as PythonEntityBase)", PythonList_Insert>(),
    method<"GetItem(index as Integer) as PythonEntity", PythonList_GetItem>(),
    method<"SetItem(index as Integer, value as PythonEntityBase)", PythonList_SetItem>(),
    method<"AsTuple() as PythonParameters", PythonList_AsTuple>(),
    method<"Sort()", PythonList_Sort>(),
    method<"Reverse()", PythonList_Reverse>(),
};

REALclassDefinition PythonListClass = {
    .name = "PythonList",
    .superName = "PythonEntityBase",
    .constructor = Initializer,
    .properties = PythonListProperties,
    .methods = PythonListMethods,
};
