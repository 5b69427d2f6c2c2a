// The memory of the stand-in host: reference counted objects and strings. Each is one allocation
// that begins with a Block, so that the living can be listed, and the freed recognised for a
// while. Every wrong use that can be seen ends the process at once, with a message that names it.
#pragma once

#include "boundary/records.h"
#include "host/runtime/platform.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host {

using Class = REALclassStruct;

// Says on standard error what was done wrong, and aborts.
[[noreturn, gnu::format(QUILLIX_PRINTF, 1, 2)]] void misuse(const char *format, ...);

struct Block {
  std::uint32_t magic; // which kind of block, and whether it lives
  std::uint32_t locks;
  Block *previous; // neighbours in the list of the living
  Block *next;
  std::size_t size; // bytes of the allocation
};

// Of every block, as malloc gives it.
inline constexpr std::size_t kAlignment = 2 * sizeof(void *);

// What host code attached to one instance. Most instances have none.
struct Attachments {
  std::vector<std::pair<HostWord, HostFunction>> handlers; // by event key
  std::function<void(std::string_view)> consoleOutput;
  std::function<void()> destroyed;
};

} // namespace host

// The class data blocks follow. The header is as aligned as they must be.
struct alignas(host::kAlignment) REALobjectStruct : host::Block {
  const host::Class *type;
  host::Attachments *attachments; // owned
};

// The bytes follow, and a NUL.
struct REALstringStruct : host::Block {
  std::int32_t length; // bytes, without the NUL
  std::uint32_t encoding;
};

namespace host {

// A new instance after its class constructors; the caller owns its one lock.
REALobject newObject(const Class &type);

// A new string object, also for no bytes; the caller owns its one lock.
REALstring newStringObject(std::string_view bytes, std::uint32_t encoding = kEncodingUTF8);

// The same, except that no bytes make nil, unless useEmptyStringObjects(true) was called.
REALstring newString(std::string_view bytes, std::uint32_t encoding = kEncodingUTF8);
void useEmptyStringObjects(bool use);

// Nil is accepted and ignored. The last unlock of an object runs its class destructors.
void lock(REALobject object);
void unlock(REALobject object);
void lock(REALstring string);
void unlock(REALstring string);

// Valid while the string lives, and followed by a NUL; empty for nil.
std::string_view contents(REALstring string);

// The class of a living instance; `user` is named in the message when it is none.
const Class &classOf(REALobject object, const char *user);

Attachments &attachmentsOf(REALobject object);

// The block of class data that a registered record describes.
template <class T> T &classData(REALobject object, const REALclassDefinition &record) {
  return *reinterpret_cast<T *>(reinterpret_cast<char *>(object) + record.dataOffset);
}

std::size_t livingObjects(std::string_view className = {}); // of exactly that class, or of any
std::size_t livingStrings();

// How much was made and locked since the process began; a lock that comes with a new object or
// string does not count.
struct Traffic {
  std::uint64_t objects = 0;
  std::uint64_t strings = 0;
  std::uint64_t stringBytes = 0;
  std::uint64_t locks = 0;
  bool operator==(const Traffic &other) const = default;
};
Traffic traffic();

// What is alive, for a reader; empty when nothing is.
std::string survivors();

// For the end of a test or program: aborts with the list of survivors when there are any.
void checkNothingAlive();

// Off for a host that offers a plug-in no locks: nothing is counted then, and nothing goes.
void countLocks(bool count);

// Freed blocks are kept for a while, so that their use can be seen. Off for measurements of speed:
// small blocks are used again at once then. Nothing may be alive.
void keepFreedBlocks(bool keep);
void giveFreedBlocksBack();

} // namespace host
