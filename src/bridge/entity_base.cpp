// PythonEntityBase: the root of the value wrappers. Its class data owns one reference to a Python
// object, whatever the subclass, and only its destructor releases that reference.

#include "bridge/bridge.h"

namespace {

void PythonEntity_DefaultConstructor(REALobject self) { entityHeld(self) = {}; }

void PythonEntity_Destructor(REALobject self) { entityHeld(self).drop(); }

} // namespace

// An entity that host code makes bare holds nothing.
void PythonEntity_Constructor(REALobject) {}

static REALmethodDefinition PythonEntityBaseMethods[] = {
    declare::method<"Constructor()", PythonEntity_Constructor>(kPublicMember | kUnknownFlag),
};

REALclassDefinition PythonEntityBaseClass = {
    .name = "PythonEntityBase",
    .dataSize = sizeof(PythonEntityBaseData),
    .constructor = PythonEntity_DefaultConstructor,
    .destructor = PythonEntity_Destructor,
    .methods = PythonEntityBaseMethods,
};
