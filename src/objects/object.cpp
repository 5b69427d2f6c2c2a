// PythonObject: the root of every wrapper that stands for a named Python object. It owns a lock on
// the name under which the object was obtained and a reference to the object.

#include "objects/attributes.h"

REALboolean PythonModule_HasAttribute(REALobject self, REALstring name) {
  OwnedCall object(objectData(self).held);
  const char *attribute = object ? asPythonName(name) : nullptr;
  return attribute && EPyObject_HasAttrString(object.get(), attribute);
}

std::intptr_t PythonModule_DeleteAttribute(REALobject self, REALstring name) {
  OwnedCall object(objectData(self).held);
  const char *attribute = object ? asPythonName(name) : nullptr;
  return attribute ? EPyObject_SetAttrString(object.get(), attribute, nullptr) : -1;
}

namespace {

REALstring PythonObject_Name(REALobject self) {
  REALstring name = objectData(self).name;
  ELockString(name);
  return name;
}

void PythonObject_Destructor(REALobject self) {
  PythonObjectData &data = objectData(self);
  data.held.drop();
  EUnlockString(data.name);
}

} // namespace

static REALproperty PythonObjectProperties[] = {
    declare::property<"Name", "String", PythonObject_Name>(),
};

REALclassDefinition PythonObjectClass = {
    .name = "PythonObject",
    .dataSize = sizeof(PythonObjectData),
    .destructor = PythonObject_Destructor,
    .properties = PythonObjectProperties,
};
