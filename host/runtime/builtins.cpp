#include "host/runtime/builtins.h"

#include "host/runtime/classes.h"
#include "host/runtime/heap.h"

#include <algorithm>
#include <cstring>
#include <string>
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

// --- MemoryBlock: bytes, read and written as numbers ----------------------------------------------

extern REALclassDefinition gMemoryBlockClass;

struct Memory {
  std::string *bytes;
  std::uint8_t isBigEndian;
};

Memory &memoryOf(REALobject block) { return classData<Memory>(block, gMemoryBlockClass); }

void constructMemory(REALobject block) { memoryOf(block) = {new std::string, 0}; }
void destroyMemory(REALobject block) { delete memoryOf(block).bytes; }

void setSize(REALobject block, std::int32_t size) {
  if (size < 0)
    misuse("MemoryBlock: %d bytes", size);
  memoryOf(block).bytes->resize(static_cast<std::size_t>(size));
}
std::int32_t size(REALobject block) {
  return static_cast<std::int32_t>(memoryOf(block).bytes->size());
}

char *place(REALobject block, std::int32_t offset, std::size_t length) {
  classOf(block, "MemoryBlock");
  std::string &bytes = *memoryOf(block).bytes;
  const auto at = static_cast<std::size_t>(offset);
  if (offset < 0 || at > bytes.size() || length > bytes.size() - at)
    misuse("MemoryBlock: offset %d of %d bytes", offset, size(block));
  return bytes.data() + at;
}

// In the order of the block.
template <class T> void copyNumber(REALobject block, void *to, const void *from) {
  std::memcpy(to, from, sizeof(T));
  if (memoryOf(block).isBigEndian)
    std::reverse(static_cast<char *>(to), static_cast<char *>(to) + sizeof(T));
}

template <class T, class Declared> Declared number(REALobject block, std::int32_t offset) {
  T value{};
  copyNumber<T>(block, &value, place(block, offset, sizeof value));
  return static_cast<Declared>(value);
}

template <class T, class Declared>
void setNumber(REALobject block, std::int32_t offset, Declared declared) {
  const auto value = static_cast<T>(declared);
  copyNumber<T>(block, place(block, offset, sizeof value), &value);
}

REALstring bytesAt(REALobject block, std::int32_t offset, std::int32_t length) {
  const auto count = static_cast<std::size_t>(length);
  return newString({place(block, offset, count), count});
}

void setBytesAt(REALobject block, std::int32_t offset, std::int32_t length, REALstring bytes) {
  const std::string_view given = contents(bytes).substr(0, static_cast<std::size_t>(length));
  std::memcpy(place(block, offset, given.size()), given.data(), given.size());
}

bool isLittleEndian(REALobject block) { return !memoryOf(block).isBigEndian; }
void setLittleEndian(REALobject block, bool isLittle) { memoryOf(block).isBigEndian = !isLittle; }

// A whole number of fewer bits than 32 is declared as one of 32 here.
template <class T, class Declared>
constexpr REALmethodDefinition numberRow(const char *declaration) {
  return {
      stored(number<T, Declared>), stored(setNumber<T, Declared>), declaration, kPublicMember, {}};
}

REALmethodDefinition gMemoryBlockMethods[] = {
    {stored(setSize), nullptr, "Constructor(size as Integer)", kPublicMember, {}},
    numberRow<double, double>("DoubleValue(offset as Integer) as Double"),
    numberRow<float, double>("SingleValue(offset as Integer) as Double"),
    numberRow<std::int8_t, std::int32_t>("Int8Value(offset as Integer) as Int32"),
    numberRow<std::uint8_t, std::int32_t>("UInt8Value(offset as Integer) as Int32"),
    numberRow<std::int16_t, std::int32_t>("Int16Value(offset as Integer) as Int32"),
    numberRow<std::uint16_t, std::int32_t>("UInt16Value(offset as Integer) as Int32"),
    numberRow<std::int32_t, std::int32_t>("Int32Value(offset as Integer) as Int32"),
    numberRow<std::uint32_t, std::uint32_t>("UInt32Value(offset as Integer) as UInt32"),
    numberRow<std::int64_t, std::int64_t>("Int64Value(offset as Integer) as Int64"),
    numberRow<std::uint64_t, std::uint64_t>("UInt64Value(offset as Integer) as UInt64"),
    {stored(bytesAt),
     stored(setBytesAt),
     "StringValue(offset as Integer, length as Integer) as String",
     kPublicMember,
     {}},
    {stored(size), stored(setSize), "Size() as Integer", kPublicMember, {}},
    {stored(isLittleEndian),
     stored(setLittleEndian),
     "LittleEndian() as Boolean",
     kPublicMember,
     {}},
};

REALclassDefinition gMemoryBlockClass{.name = "MemoryBlock",
                                      .superName = "Object",
                                      .dataSize = sizeof(Memory),
                                      .constructor = constructMemory,
                                      .destructor = destroyMemory,
                                      .methods = gMemoryBlockMethods};

// --- global methods ------------------------------------------------------------------------------

std::int32_t lenB(REALstring string) { return static_cast<std::int32_t>(contents(string).size()); }

const REALmethodDefinition gGlobalMethods[] = {
    {stored(lenB), nullptr, "LenB( s as string ) as integer", kPublicMember, {}},
};

} // namespace

std::vector<REALclassDefinition *> builtinRecords() {
  return {&gObjectClass, &gObjectArrayClass, &gFolderItemClass, &gMemoryBlockClass};
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

std::string &bytesOf(REALobject memoryBlock) { return *memoryOf(memoryBlock).bytes; }

} // namespace host
