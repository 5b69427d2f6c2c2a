#include "host/runtime/heap.h"

#include "host/runtime/classes.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#if defined(__SANITIZE_ADDRESS__)
#define HOST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HOST_ADDRESS_SANITIZER 1
#endif
#endif
#ifdef HOST_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) static_cast<void>(0)
#define ASAN_UNPOISON_MEMORY_REGION(address, size) static_cast<void>(0)
#endif

namespace host {
namespace {

constexpr std::uint32_t kObject = 0x4a424f4cu; // "LOBJ" in memory, and so on
constexpr std::uint32_t kDyingObject = 0x4a424f44u;
constexpr std::uint32_t kFreedObject = 0x4a424f46u;
constexpr std::uint32_t kString = 0x5254534cu;
constexpr std::uint32_t kFreedString = 0x52545346u;

constinit Block gObjects{0, 0, &gObjects, &gObjects, 0}; // rings, oldest first
constinit Block gStrings{0, 0, &gStrings, &gStrings, 0};
constinit bool gEmptyStringObjects = false;
constinit bool gCountLocks = true;
constinit Traffic gTraffic;

void link(Block &ring, Block *block) {
  block->previous = ring.previous;
  block->next = &ring;
  ring.previous->next = block;
  ring.previous = block;
}

void unlink(Block *block) {
  block->previous->next = block->next;
  block->next->previous = block->previous;
}

const char *className(const Block *object) {
  return static_cast<const REALobjectStruct *>(object)->type->name.c_str();
}

// --- freed blocks ------------------------------------------------------------------------------

constexpr std::size_t kKeptBlocks = 512;
constexpr std::size_t kLargestKept = 16 * 1024; // bytes; larger ones are given back at once
constexpr unsigned char kFreedPattern = 0xdd;

constinit Block *gFreed[kKeptBlocks] = {};
constinit std::size_t gNextFreed = 0;
constinit bool gKeepFreed = true;

// The bytes behind the header.
unsigned char *payload(Block *block) {
  const bool object = block->magic == kFreedObject;
  return reinterpret_cast<unsigned char *>(block) +
         (object ? sizeof(REALobjectStruct) : sizeof(REALstringStruct));
}

std::size_t payloadSize(Block *block) {
  return block->size -
         static_cast<std::size_t>(payload(block) - reinterpret_cast<unsigned char *>(block));
}

void giveBack(Block *block) {
  const std::size_t size = payloadSize(block);
  unsigned char *const bytes = payload(block);
  ASAN_UNPOISON_MEMORY_REGION(bytes, size);
  if (std::any_of(bytes, bytes + size, [](unsigned char b) { return b != kFreedPattern; }))
    misuse("a freed %s was written to", block->magic == kFreedObject ? className(block) : "string");
  std::free(block);
}

// --- spare blocks: for measurements, small ones that are freed serve again without malloc -------

constexpr std::size_t kSpareStep = kAlignment;
constexpr std::size_t kLargestSpare = 16 * kSpareStep; // bytes

constinit Block *gSpare[kLargestSpare / kSpareStep + 1] = {}; // lists by size in steps

Block *&spares(std::size_t size) { return gSpare[(size + kSpareStep - 1) / kSpareStep]; }

// Null when there is no memory. A spare block serves every size of its list.
void *allocate(std::size_t size) {
  if (gKeepFreed || size > kLargestSpare)
    return std::malloc(size);
  if (Block *&first = spares(size))
    return std::exchange(first, first->next);
  return std::malloc((size + kSpareStep - 1) / kSpareStep * kSpareStep);
}

// Takes a block whose magic already says that it is freed.
void retire(Block *block) {
  if (!gKeepFreed && block->size <= kLargestSpare) {
    block->next = std::exchange(spares(block->size), block);
    return;
  }
  if (!gKeepFreed || block->size > kLargestKept) {
    std::free(block);
    return;
  }
  std::memset(payload(block), kFreedPattern, payloadSize(block));
  ASAN_POISON_MEMORY_REGION(payload(block), payloadSize(block));
  Block *const oldest = std::exchange(gFreed[gNextFreed], block);
  gNextFreed = (gNextFreed + 1) % kKeptBlocks;
  if (oldest)
    giveBack(oldest);
}

// --- checks ------------------------------------------------------------------------------------

// A block at this address, or null when there can be none. Takes any pointer at all.
const Block *blockAt(const void *address) {
  const bool isAligned = reinterpret_cast<std::uintptr_t>(address) % alignof(Block) == 0;
  return isAligned ? static_cast<const Block *>(address) : nullptr;
}

bool lives(const void *address, std::uint32_t magic) {
  const Block *const block = blockAt(address);
  return block && block->magic == magic;
}

// Explains why what is at `address` is not the `needed` that `user` asks for.
[[noreturn]] void refuse(const void *address, const char *user, const char *needed) {
  const bool unlocking = std::strstr(user, "Unlock") != nullptr;
  const char *const fault = unlocking ? "one unlock too many" : "use after free";
  const Block *const block = blockAt(address);
  switch (block ? block->magic : 0) {
  case kFreedObject:
    misuse("%s: %s: the %s at %p is gone", user, fault, className(block), address);
  case kFreedString:
    misuse("%s: %s: the string at %p is gone", user, fault, address);
  case kDyingObject:
    misuse("%s: the %s at %p is being destroyed", user, className(block), address);
  case kObject:
    misuse("%s: %p is an object of class %s, no %s", user, address, className(block), needed);
  case kString:
    misuse("%s: %p is a string, no %s", user, address, needed);
  default:
    misuse("%s: %p is no %s", user, address, needed);
  }
}

void requireObject(REALobject object, const char *user) {
  if (!lives(object, kObject))
    refuse(object, user, "object");
}

void requireString(REALstring string, const char *user) {
  if (!lives(string, kString))
    refuse(string, user, "string");
}

void addLock(Block *block, const char *user) {
  if (block->locks == std::numeric_limits<std::uint32_t>::max())
    misuse("%s: too many locks", user);
  ++block->locks;
  ++gTraffic.locks;
}

void destroy(REALobject object) {
  if (object->attachments && object->attachments->destroyed) {
    std::exchange(object->attachments->destroyed, {})();
    if (object->locks != 0)
      return; // the hook keeps it
  }
  object->magic = kDyingObject;
  for (const ClassFunction destructor : object->type->destructors)
    destructor(object);
  delete object->attachments;
  unlink(object);
  object->magic = kFreedObject;
  retire(object);
}

std::string plural(std::size_t count, const char *noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace

void misuse(const char *format, ...) {
  // One write, so that the message stays whole beside the output of others.
  char message[4096] = "host: ";
  constexpr std::size_t kPrefix = sizeof "host: " - 1;
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(message + kPrefix, sizeof message - kPrefix - 1, format, arguments);
  va_end(arguments);
  std::strcat(message, "\n");
  std::fputs(message, stderr);
  std::abort();
}

REALobject newObject(const Class &type) {
  auto *const object = static_cast<REALobject>(allocate(type.instanceSize));
  if (!object)
    misuse("no memory for an object of class %s", type.name.c_str());
  object->magic = kObject;
  object->locks = 1;
  object->size = type.instanceSize;
  object->type = &type;
  object->attachments = nullptr;
  std::memset(static_cast<void *>(object + 1), 0, type.instanceSize - sizeof *object);
  link(gObjects, object);
  ++gTraffic.objects;
  for (const ClassFunction constructor : type.constructors)
    constructor(object);
  return object;
}

REALstring newStringObject(std::string_view bytes, std::uint32_t encoding) {
  const std::size_t size = sizeof(REALstringStruct) + bytes.size() + 1;
  auto *const string = static_cast<REALstring>(allocate(size));
  if (!string || bytes.size() > std::numeric_limits<std::int32_t>::max())
    misuse("no memory for a string of %zu bytes", bytes.size());
  string->magic = kString;
  string->locks = 1;
  string->size = size;
  string->length = static_cast<std::int32_t>(bytes.size());
  string->encoding = encoding;
  char *const copy = reinterpret_cast<char *>(string + 1);
  std::copy(bytes.begin(), bytes.end(), copy);
  copy[bytes.size()] = '\0';
  link(gStrings, string);
  ++gTraffic.strings;
  gTraffic.stringBytes += bytes.size();
  return string;
}

REALstring newString(std::string_view bytes, std::uint32_t encoding) {
  return bytes.empty() && !gEmptyStringObjects ? nullptr : newStringObject(bytes, encoding);
}

void useEmptyStringObjects(bool use) { gEmptyStringObjects = use; }

void lock(REALobject object) {
  if (!object || !gCountLocks)
    return;
  requireObject(object, "REALLockObject");
  addLock(object, "REALLockObject");
}

void unlock(REALobject object) {
  if (!object || !gCountLocks)
    return;
  requireObject(object, "REALUnlockObject");
  if (--object->locks == 0)
    destroy(object);
}

void lock(REALstring string) {
  if (!string || !gCountLocks)
    return;
  requireString(string, "REALLockString");
  addLock(string, "REALLockString");
}

void unlock(REALstring string) {
  if (!string || !gCountLocks)
    return;
  requireString(string, "REALUnlockString");
  if (--string->locks != 0)
    return;
  unlink(string);
  string->magic = kFreedString;
  retire(string);
}

std::string_view contents(REALstring string) {
  if (!string)
    return {};
  requireString(string, "reading a string");
  return {reinterpret_cast<const char *>(string + 1), static_cast<std::size_t>(string->length)};
}

const Class &classOf(REALobject object, const char *user) {
  if (!object)
    misuse("%s: nil where an object is needed", user);
  requireObject(object, user);
  return *object->type;
}

Attachments &attachmentsOf(REALobject object) {
  classOf(object, "attaching to an object");
  if (!object->attachments)
    object->attachments = new Attachments;
  return *object->attachments;
}

std::size_t livingObjects(std::string_view className) {
  std::size_t count = 0;
  for (const Block *block = gObjects.next; block != &gObjects; block = block->next)
    if (className.empty() || static_cast<const REALobjectStruct *>(block)->type->name == className)
      ++count;
  return count;
}

std::size_t livingStrings() {
  std::size_t count = 0;
  for (const Block *block = gStrings.next; block != &gStrings; block = block->next)
    ++count;
  return count;
}

Traffic traffic() { return gTraffic; }

std::string survivors() {
  const std::size_t objects = livingObjects();
  const std::size_t strings = livingStrings();
  if (objects + strings == 0)
    return {};
  std::string report = plural(objects, "object") + " and " + plural(strings, "string") + " alive";
  for (const Class *type : classes())
    if (const std::size_t count = livingObjects(type->name))
      report += "\n  " + std::to_string(count) + " " + type->name;
  for (Block *block = gStrings.next; block != &gStrings; block = block->next) {
    constexpr std::size_t kShown = 60;
    const std::string_view bytes = contents(static_cast<REALstring>(block));
    report += "\n  string \"" + std::string(bytes.substr(0, kShown)) +
              (bytes.size() > kShown ? "...\", " : "\", ") + plural(block->locks, "lock");
  }
  return report;
}

void checkNothingAlive() {
  if (const std::string report = survivors(); !report.empty())
    misuse("%s", report.c_str());
}

void countLocks(bool count) { gCountLocks = count; }

void keepFreedBlocks(bool keep) {
  checkNothingAlive(); // it would be too small for the list that it goes on
  gKeepFreed = keep;
  giveFreedBlocksBack();
}

void giveFreedBlocksBack() {
  for (Block *&block : gFreed)
    if (Block *const freed = std::exchange(block, nullptr))
      giveBack(freed);
  for (Block *&first : gSpare)
    while (first)
      std::free(std::exchange(first, first->next));
}

} // namespace host
