// The stand-in host's own classes, declared through the same records as a plug-in's, and its
// global methods.
#pragma once

#include "boundary/records.h"

#include <string>
#include <string_view>
#include <vector>

namespace host {

// Object, ObjectArray, FolderItem and MemoryBlock, super classes first.
std::vector<REALclassDefinition *> builtinRecords();

// Null when there is no global method of that declaration.
const REALmethodDefinition *findGlobalMethod(std::string_view declaration);

// A FolderItem whose NativePath is `path`; the caller owns its one lock.
REALobject newFolderItemObject(std::string_view path);

// What a MemoryBlock holds.
std::string &bytesOf(REALobject memoryBlock);

} // namespace host
