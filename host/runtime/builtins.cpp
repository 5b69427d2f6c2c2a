#include "host/runtime/builtins.h"

#include "host/runtime/classes.h"
#include "host/runtime/heap.h"

#include <vector>

namespace host {
namespace {

template <class F> HostFunction stored(F *function) {
  return reinterpret_cast<HostFunction>(function);
}

REALclassDefinition gObjectClass{.name = "Object"};

// --- ObjectArray: an ordered list of objects, with one lock on each ------------------------------

extern REALclassDefinition gObjectArrayClass;

std::vector<REALobject> *&itemsOf(REALobject list) {
  return classData<std::vector<REALobject> *>(list, gObjectArrayClass);
}

void constructObjectArray(REALobject list) { itemsOf(list) = new std::vector<REALobject>; }

void destroyObjectArray(REALobject list) {
  for (REALobject item : *itemsOf(list))
    unlock(item);
  delete itemsOf(list);
}

void append(REALobject list, REALobject item) {
  classOf(list, "ObjectArray.Append");
  lock(item);
  itemsOf(list)->push_back(item);
}

std::int32_t count(REALobject list) {
  classOf(list, "ObjectArray.Count");
  return static_cast<std::int32_t>(itemsOf(list)->size());
}

REALobject getAt(REALobject list, std::int32_t n) {
  if (n < 0 || n >= count(list))
    misuse("ObjectArray.GetAt: index %d of %d items", n, count(list));
  REALobject item = (*itemsOf(list))[static_cast<std::size_t>(n)];
  lock(item);
  return item;
}

REALmethodDefinition gObjectArrayMethods[] = {
    {stored(append), nullptr, "Append(item as Object)", kPublicMember, {}},
    {stored(count), nullptr, "Count() as Integer", kPublicMember, {}},
    {stored(getAt), nullptr, "GetAt(n as Integer) as Object", kPublicMember, {}},
};

REALclassDefinition gObjectArrayClass{.name = "ObjectArray",
                                      .superName = "Object",
                                      .dataSize = sizeof(std::vector<REALobject> *),
                                      .constructor = constructObjectArray,
                                      .destructor = destroyObjectArray,
                                      .methods = gObjectArrayMethods};

// --- FolderItem ----------------------------------------------------------------------------------

extern REALclassDefinition gFolderItemClass;

REALstring &pathOf(REALobject folder) { return classData<REALstring>(folder, gFolderItemClass); }

void destroyFolderItem(REALobject folder) { unlock(pathOf(folder)); }

REALstring nativePath(REALobject folder) {
  lock(pathOf(folder));
  return pathOf(folder);
}

REALproperty gFolderItemProperties[] = {
    {0, "NativePath", "String", kPublicMember, stored(nativePath), nullptr, {}},
};

REALclassDefinition gFolderItemClass{.name = "FolderItem",
                                     .superName = "Object",
                                     .dataSize = sizeof(REALstring),
                                     .destructor = destroyFolderItem,
                                     .properties = gFolderItemProperties};

// --- global methods ------------------------------------------------------------------------------

std::int32_t lenB(REALstring string) { return static_cast<std::int32_t>(contents(string).size()); }

const REALmethodDefinition gGlobalMethods[] = {
    {stored(lenB), nullptr, "LenB( s as string ) as integer", kPublicMember, {}},
};

} // namespace

std::vector<REALclassDefinition *> builtinRecords() {
  return {&gObjectClass, &gObjectArrayClass, &gFolderItemClass};
}

const REALmethodDefinition *findGlobalMethod(std::string_view declaration) {
  for (const REALmethodDefinition &method : gGlobalMethods)
    if (method.declaration == declaration)
      return &method;
  return nullptr;
}

REALobject newFolderItemObject(std::string_view path) {
  REALobject folder = newObject(requireClass("FolderItem"));
  pathOf(folder) = newString(path);
  return folder;
}

} // namespace host
