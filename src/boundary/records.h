// The records through which a class or module is declared to the host, and the types in which
// values cross to it and back. Every field is one machine word, without packing, so a record is
// the same block of words to the plug-in and to whoever reads it.
#pragma once

#include <cstddef>
#include <cstdint>

struct REALobjectStruct;
struct REALstringStruct;
struct REALclassStruct;

using REALobject = REALobjectStruct *;  // reference counted by the host; nil is a valid value
using REALstring = REALstringStruct *;  // likewise; nil is the empty string
using REALclassRef = REALclassStruct *; // names a registered class; never counted
using REALboolean = unsigned char;      // on its way to the host: 0 or 1
using HostWord = std::uintptr_t;

// A Boolean from the host: True when its lowest eight bits are not zero. Some callers leave rubbish
// above these, which a compiler that may count on a widened argument would take for part of it.
enum class HostBoolean : std::uint32_t {};
constexpr bool isTrue(HostBoolean value) { return (static_cast<std::uint32_t>(value) & 0xFF) != 0; }

// Any C function. A record stores it under this one type; whoever calls it knows, from the
// declaration beside it, what to cast it to.
using HostFunction = void (*)();

// The host plug-in interface that the records are written for.
inline constexpr HostWord kInterfaceVersion = 13;

// Flags of a method or property record. What the second one means to the host is not known; the
// constructors that do nothing carry it.
inline constexpr HostWord kPublicMember = 0x4;
inline constexpr HostWord kUnknownFlag = 0x80;

// Flag of a class record: usable in programs without a user interface.
inline constexpr HostWord kConsoleSafe = 0x4;

struct REALmethodDefinition {
  HostFunction function;   // the method, or the reading side of an assignable one
  HostFunction setter;     // receives an assignment: declared parameters, then the value
  const char *declaration; // in the host's language
  HostWord flags;
  HostWord reserved[2];
};

struct REALproperty {
  HostWord reserved;
  const char *name;
  const char *type;
  HostWord flags;
  HostFunction getter;
  HostFunction setter;
  HostWord reservedTail[6];
};

struct REALevent {
  const char *declaration;
  HostWord key; // written by the host at registration; names the event in a handler look-up
  HostWord reserved[2];
};

struct REALconstant {
  const char *declaration;
  HostWord reserved[4];
};

// A table of rows and its length, the two words in which a record names it.
template <class Row> struct HostTable {
  Row *rows = nullptr;
  HostWord count = 0;

  constexpr HostTable() = default;
  template <std::size_t N> constexpr HostTable(Row (&table)[N]) : rows(table), count(N) {}
};

struct REALclassDefinition {
  HostWord version = kInterfaceVersion;
  const char *name = nullptr;
  const char *superName = nullptr; // null for a root class
  HostWord dataSize = 0;           // bytes of class data in an instance
  HostWord dataOffset = 0;         // written by the host: from the object's address, never 0
  void (*constructor)(REALobject) = nullptr; // called for every new instance, super class first
  void (*destructor)(REALobject) = nullptr;  // called for a dying instance, subclass first
  HostTable<REALproperty> properties{};
  HostTable<REALmethodDefinition> methods{};
  HostTable<REALevent> events{};
  HostWord unusedA[2] = {};
  const char *interfaces = "";
  HostWord unusedB[2] = {};
  HostTable<REALconstant> constants{};
  HostWord flags = 0;
  HostWord unusedC[2] = {};
  HostTable<REALmethodDefinition> sharedMethods{};
  HostWord unusedD[2] = {};
  HostWord unusedE[2] = {};
};

struct REALmoduleDefinition {
  HostWord version = kInterfaceVersion;
  const char *name = nullptr;
  HostTable<REALmethodDefinition> methods{};
  HostTable<REALconstant> constants{};
  HostWord reserved[8] = {};
};

static_assert(sizeof(REALmethodDefinition) == 6 * sizeof(HostWord));
static_assert(sizeof(REALproperty) == 12 * sizeof(HostWord));
static_assert(sizeof(REALevent) == 4 * sizeof(HostWord));
static_assert(sizeof(REALconstant) == 5 * sizeof(HostWord));
static_assert(sizeof(REALclassDefinition) == 29 * sizeof(HostWord));
static_assert(sizeof(REALmoduleDefinition) == 14 * sizeof(HostWord));

// The encoding that the plug-in gives every string it makes: the host's code for UTF-8.
inline constexpr std::uint32_t kEncodingUTF8 = 0x08000100;

// Answers a host entry point by name, or null when the host has none of that name.
using HostResolver = void *(*)(const char *entryName);
