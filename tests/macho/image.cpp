#include "tests/macho/image.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace macho {

namespace {

// Of Apple's mach-o/loader.h and its kin; numbers are little-endian but for those of a universal file.

constexpr std::uint32_t kUniversal = 0xCAFEBABE;
constexpr std::uint32_t kMagic64 = 0xFEEDFACF;
constexpr std::uint32_t kDylib = 6;
#if defined(__x86_64__)
constexpr std::uint32_t kThisProcessor = 0x01000007;
#elif defined(__aarch64__)
constexpr std::uint32_t kThisProcessor = 0x0100000C;
#else
constexpr std::uint32_t kThisProcessor = 0; // of which no file has a slice
#endif

// Bound by libraries' ordinals, nothing undefined, nothing exported on.
constexpr std::uint32_t kNoUndefined = 0x1, kForDyld = 0x4, kTwoLevel = 0x80,
                        kNoReexports = 0x100000;

enum Command : std::uint32_t {
  kSegment64 = 0x19,
  kSymbols = 0x2,
  kDynamicSymbols = 0xB,
  kLoadDylib = 0xC,
  kIdDylib = 0xD,
  kUuid = 0x1B,
  kCodeSignature = 0x1D,
  kVersionMin = 0x24,
  kFunctionStarts = 0x26,
  kDataInCode = 0x29,
  kSourceVersion = 0x2A,
  kBuildVersion = 0x32,
  kDyldInfoOnly = 0x80000022,
};
// What tools read, and the system before anything is loaded.
constexpr std::uint32_t kOfNoMatterHere[] = {
    kSymbols,    kDynamicSymbols, kIdDylib,       kUuid,         kCodeSignature,
    kVersionMin, kFunctionStarts, kSourceVersion, kBuildVersion, kDataInCode};

struct Header {
  std::uint32_t magic, processor, model, kind, commands, commandsSize, flags, reserved;
};
struct SegmentCommand {
  std::uint32_t command, commandSize;
  char name[16];
  std::uint64_t address, size, fileOffset, fileSize;
  std::int32_t mostProtection, protection;
  std::uint32_t sections, flags;
};
struct Section {
  char name[16], segment[16];
  std::uint64_t address, size;
  std::uint32_t offset, alignment, relocations, relocationCount, flags, reserved1, reserved2,
      reserved3;
};
enum SectionKind : std::uint8_t {
  kRegular = 0,
  kZeroFilled = 1,
  kCStrings = 2,
  k4ByteLiterals = 3,
  k8ByteLiterals = 4,
  kLiteralPointers = 5,
  kPointers = 6,
  kLazyPointers = 7,
  kStubs = 8,
  kInitialisers = 9,
  k16ByteLiterals = 0xE,
};

template <class T> T read(const char *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

std::uint32_t bigEndian(const char *at) { return __builtin_bswap32(read<std::uint32_t>(at)); }

std::string hex(std::uint64_t number) {
  char text[20];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(number));
  return text;
}

// Walks over coded numbers and texts, of which none may be beyond the end.
struct Reader {
  const char *at;
  const char *end;

  std::uint8_t byte() {
    if (at >= end)
      throw Error("coded data ends too early");
    return static_cast<std::uint8_t>(*at++);
  }
  std::uint64_t unsignedNumber() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const std::uint8_t part = byte();
      value |= static_cast<std::uint64_t>(part & 0x7F) << shift;
      if (!(part & 0x80))
        return value;
    }
  }
  std::int64_t signedNumber() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;;) {
      const std::uint8_t part = byte();
      value |= static_cast<std::uint64_t>(part & 0x7F) << shift;
      shift += 7;
      if (!(part & 0x80))
        return static_cast<std::int64_t>(part & 0x40 ? value | ~std::uint64_t{0} << shift : value);
    }
  }
  std::string text() {
    const char *const from = at;
    while (byte() != 0) {
    }
    return {from, at - 1};
  }
};

int protectionOf(std::int32_t macOs) {
  return (macOs & 1 ? PROT_READ : 0) | (macOs & 2 ? PROT_WRITE : 0) | (macOs & 4 ? PROT_EXEC : 0);
}

} // namespace

Image::Image(const std::vector<char> &file, const Imports &imports) {
  slice_ = slice(file);
  readCommands();
  map();
  try {
    rebase();
    if (info_.weakSize)
      throw Error("it has symbols that other libraries may replace");
    bind(info_.bind, info_.bindSize, false, imports);
    bind(info_.lazy, info_.lazySize, true, imports);
    protect();
    initialise();
  } catch (...) {
    munmap(memory_, size_);
    throw;
  }
  const char *const exports = at(info_.exports, info_.exportsSize);
  exports_.assign(exports, exports + info_.exportsSize);
}

Image::~Image() { munmap(memory_, size_); }

const char *Image::slice(const std::vector<char> &file) {
  if (file.size() < 8 || bigEndian(file.data()) != kUniversal)
    throw Error("it is no universal file");
  const std::uint32_t count = bigEndian(file.data() + 4);
  for (std::uint32_t i = 0; i < count && 8 + 20 * (i + 1) <= file.size(); ++i) {
    const char *const entry = file.data() + 8 + 20 * i;
    if (bigEndian(entry) != kThisProcessor)
      continue;
    const std::uint64_t offset = bigEndian(entry + 8);
    sliceSize_ = bigEndian(entry + 12);
    if (offset + sliceSize_ > file.size() || sliceSize_ < sizeof(Header))
      throw Error("the slice for this processor is cut off");
    return file.data() + offset;
  }
  throw Error("it has no slice for this processor");
}

const char *Image::at(std::uint64_t offset, std::uint64_t size) const {
  if (offset > sliceSize_ || size > sliceSize_ - offset)
    throw Error("it names a place behind its end: " + hex(offset));
  return slice_ + offset;
}

void Image::readCommands() {
  const auto header = read<Header>(slice_);
  if (header.magic != kMagic64 || header.processor != kThisProcessor || header.kind != kDylib)
    throw Error("the slice is no dynamic library");
  if (header.flags != (kNoUndefined | kForDyld | kTwoLevel | kNoReexports))
    throw Error("unknown flags: " + hex(header.flags));
  const char *command = at(sizeof header, header.commandsSize);
  const char *const end = command + header.commandsSize;
  for (std::uint32_t i = 0; i < header.commands; ++i) {
    if (end - command < 8)
      throw Error("its commands are cut off");
    const auto kind = read<std::uint32_t>(command);
    const auto size = read<std::uint32_t>(command + 4);
    if (size < 8 || size > static_cast<std::uint64_t>(end - command))
      throw Error("a command is cut off: " + hex(kind));
    const auto *const text = command + std::min(size, read<std::uint32_t>(command + 8));
    if (kind == kSegment64)
      segmentCommands_.push_back(command);
    else if (kind == kLoadDylib)
      libraries_.emplace_back(text, strnlen(text, static_cast<std::size_t>(command + size - text)));
    else if (kind == kDyldInfoOnly)
      info_ = read<DyldInfo>(command + 8);
    else if (std::ranges::find(kOfNoMatterHere, kind) == std::end(kOfNoMatterHere))
      throw Error("unknown command: " + hex(kind));
    command += size;
  }
}

void Image::map() {
  const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  for (const char *at : segmentCommands_) {
    const auto segment = read<SegmentCommand>(at);
    if (segment.address % page || segment.flags || (segment.protection & ~segment.mostProtection) ||
        (segment.protection & 6) == 6 || segment.fileSize > segment.size)
      throw Error("unknown kind of segment: " +
                  std::string(segment.name, strnlen(segment.name, 16)));
    segments_.push_back({segment.address, segment.size, protectionOf(segment.protection)});
    size_ = std::max(size_, segment.address + (segment.size + page - 1) / page * page);
  }
  void *const memory =
      mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    throw Error("no memory");
  memory_ = static_cast<char *>(memory);
  for (const char *command : segmentCommands_) {
    const auto segment = read<SegmentCommand>(command);
    std::memcpy(memory_ + segment.address, at(segment.fileOffset, segment.fileSize),
                segment.fileSize);
    readSections(command);
  }
}

void Image::readSections(const char *segment) {
  const auto count = read<SegmentCommand>(segment).sections;
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto section = read<Section>(segment + sizeof(SegmentCommand) + i * sizeof(Section));
    switch (section.flags & 0xFF) {
    case kRegular:
    case kZeroFilled:
    case kCStrings:
    case k4ByteLiterals:
    case k8ByteLiterals:
    case k16ByteLiterals:
    case kLiteralPointers:
    case kPointers:
    case kLazyPointers:
    case kStubs:
      break;
    case kInitialisers:
      for (std::uint64_t offset = 0; offset < section.size; offset += 8)
        initialisers_.push_back(section.address + offset);
      break;
    default:
      throw Error("unknown kind of section: " + hex(section.flags & 0xFF));
    }
    if (section.relocationCount)
      throw Error("a section has relocations of its own");
  }
}

void *Image::place(std::uint64_t segment, std::uint64_t offset) const {
  if (segment >= segments_.size() || offset > segments_[segment].size - 8 ||
      segments_[segment].size < 8)
    throw Error("a pointer outside of its segment");
  return memory_ + segments_[segment].address + offset;
}

// Pointers into the library itself, which are as if it lay at address 0.
void Image::rebase() {
  const char *const from = at(info_.rebase, info_.rebaseSize);
  Reader code = {from, from + info_.rebaseSize};
  std::uint64_t segment = 0, offset = 0;
  const auto rebaseTimes = [&](std::uint64_t times, std::uint64_t skipped) {
    for (; times > 0; --times) {
      void *const pointer = place(segment, offset);
      const auto value = read<std::uint64_t>(static_cast<char *>(pointer)) +
                         reinterpret_cast<std::uint64_t>(memory_);
      std::memcpy(pointer, &value, sizeof value);
      offset += 8 + skipped;
    }
  };
  while (code.at < code.end) {
    const std::uint8_t byte = code.byte();
    const std::uint8_t immediate = byte & 0x0F;
    switch (byte & 0xF0) {
    case 0x00: // the end
      return;
    case 0x10: // what kind: pointers
      if (immediate != 1)
        throw Error("unknown kind of pointer: " + hex(immediate));
      break;
    case 0x20:
      segment = immediate;
      offset = code.unsignedNumber();
      break;
    case 0x30:
      offset += code.unsignedNumber();
      break;
    case 0x40:
      offset += immediate * 8u;
      break;
    case 0x50:
      rebaseTimes(immediate, 0);
      break;
    case 0x60:
      rebaseTimes(code.unsignedNumber(), 0);
      break;
    case 0x70:
      rebaseTimes(1, code.unsignedNumber());
      break;
    case 0x80: {
      const std::uint64_t times = code.unsignedNumber();
      rebaseTimes(times, code.unsignedNumber());
      break;
    }
    default:
      throw Error("unknown rebasing code: " + hex(byte));
    }
  }
}

// Pointers to what other libraries have. The lazy ones are bound now, too.
void Image::bind(std::uint32_t from, std::uint32_t size, bool lazy, const Imports &imports) {
  Reader code = {at(from, size), at(from, size) + size};
  std::uint64_t segment = 0, offset = 0, library = 0;
  std::int64_t addend = 0;
  std::string symbol;
  const auto bindOne = [&](std::uint64_t skipped) {
    if (library == 0 || library > libraries_.size())
      throw Error("an import without a library: " + symbol);
    const auto value =
        reinterpret_cast<std::int64_t>(imports(libraries_[library - 1], symbol)) + addend;
    std::memcpy(place(segment, offset), &value, sizeof value);
    offset += 8 + skipped;
  };
  while (code.at < code.end) {
    const std::uint8_t byte = code.byte();
    const std::uint8_t immediate = byte & 0x0F;
    switch (byte & 0xF0) {
    case 0x00: // the end; of one pointer, in the list of lazy ones
      if (!lazy)
        return;
      break;
    case 0x10:
      library = immediate;
      break;
    case 0x20:
      library = code.unsignedNumber();
      break;
    case 0x40:
      if (immediate != 0)
        throw Error("unknown kind of import: " + hex(immediate));
      symbol = code.text();
      break;
    case 0x50:
      if (immediate != 1)
        throw Error("unknown kind of pointer: " + hex(immediate));
      break;
    case 0x60:
      addend = code.signedNumber();
      break;
    case 0x70:
      segment = immediate;
      offset = code.unsignedNumber();
      break;
    case 0x80:
      offset += code.unsignedNumber();
      break;
    case 0x90:
      bindOne(0);
      break;
    case 0xA0:
      bindOne(code.unsignedNumber());
      break;
    case 0xB0:
      bindOne(immediate * 8u);
      break;
    case 0xC0: {
      std::uint64_t times = code.unsignedNumber();
      const std::uint64_t skipped = code.unsignedNumber();
      for (; times > 0; --times)
        bindOne(skipped);
      break;
    }
    default:
      throw Error("unknown binding code: " + hex(byte));
    }
  }
}

void Image::protect() {
  for (const Segment &segment : segments_) {
    char *const from = memory_ + segment.address;
    if (segment.protection & PROT_EXEC)
      __builtin___clear_cache(from, from + segment.size);
    if (segment.size > 0 && mprotect(from, segment.size, segment.protection) != 0)
      throw Error("a segment cannot be protected");
  }
}

// Each is handed the arguments of the program, which these do not look at.
void Image::initialise() {
  for (const std::uint64_t place : initialisers_)
    reinterpret_cast<void (*)()>(read<std::uint64_t>(memory_ + place))();
}

void *Image::exported(const std::string &symbol) const {
  std::uint64_t node = 0;
  std::size_t matched = 0;
  for (;;) {
    if (node >= exports_.size())
      throw Error("the list of exports is broken");
    Reader trie = {exports_.data() + node, exports_.data() + exports_.size()};
    const std::uint64_t size = trie.unsignedNumber();
    if (matched == symbol.size()) {
      if (size == 0)
        break;
      if (const std::uint64_t flags = trie.unsignedNumber())
        throw Error("unknown kind of export: " + hex(flags));
      return memory_ + trie.unsignedNumber();
    }
    trie.at += size;
    bool further = false;
    for (std::uint8_t children = trie.byte(); children > 0 && !further; --children) {
      const std::string label = trie.text();
      node = trie.unsignedNumber();
      further = !label.empty() && symbol.compare(matched, label.size(), label) == 0;
      matched += further ? label.size() : 0;
    }
    if (!further)
      break;
  }
  throw Error("it does not export " + symbol);
}

} // namespace macho
