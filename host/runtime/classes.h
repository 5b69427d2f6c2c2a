// The classes and modules that the stand-in host knows: its own, those that a plug-in registers
// through declaration records, and those that host code defines on top of them.
#pragma once

#include "host/runtime/heap.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// The types that a declaration can name. Every class name is an Object.
enum class Kind : std::uint8_t {
  None, // no result
  Integer,
  Int32,
  UInt32,
  Int64,
  UInt64,
  Double,
  Boolean,
  String,
  Object,
  Ptr
};

struct Type {
  Kind kind = Kind::None;
  std::string name; // as declared
};

struct Signature {
  std::string name;
  std::vector<Type> parameters;
  Type result;
};

// Reads "LenB( s as string ) as integer"; what is no declaration is misuse.
Signature parseDeclaration(std::string_view declaration);

struct Method {
  const REALmethodDefinition *row;
  Signature signature;
};

struct Property {
  const REALproperty *row;
  Type type;
};

struct Constant {
  std::string name;
  int value;
};

struct Module {
  const REALmoduleDefinition *record;
  std::string name;
  std::vector<Constant> constants;
};

// A class or module record must stay where it is for as long as it is registered. What a record
// must not look like (another interface version, an unknown super class, a name registered before,
// a malformed declaration, a table that does not fit its count) is misuse.
Class &registerClass(REALclassDefinition *record);
Module &registerModule(const REALmoduleDefinition *record);

// Defines a class in host code, as a program does that writes a subclass. The class has no data and
// no members of its own. Defining it again with the same super class gives the same class.
Class &defineClass(std::string_view name, std::string_view superName = "Object");

// Null when there is none of that name.
Class *findClass(std::string_view name);
const Module *findModule(std::string_view name);

// The same, but an unknown name is misuse.
Class &requireClass(std::string_view name);

// All of them, in the order of registration; the host's own classes first.
std::vector<const Class *> classes();
std::vector<const Module *> modules();

// Every instance is an Object.
bool isA(const Class &type, std::string_view className);

// Members of a class or, where it has none such, of the nearest super class that has; null when
// there is none. Declarations are compared as written.
const Method *findMethod(const Class &type, std::string_view declaration);
const Method *findSharedMethod(const Class &type, std::string_view declaration);
const Property *findProperty(const Class &type, std::string_view name);

// The value of a constant of a class or module; an unknown one is misuse.
int constant(std::string_view owner, std::string_view name);

struct Event {
  const Class *owner;
  const REALevent *row;
};

// The event whose record registration gave this key; null when there is none.
const Event *findEvent(HostWord key);

// The event of a class or its super classes; an unknown one is misuse.
const Event &requireEvent(const Class &type, std::string_view declaration);

// Forgets every class, module and event that is not the host's own. No instance may be alive.
void forgetClasses();

using ClassFunction = void (*)(REALobject);

} // namespace host

struct REALclassStruct {
  REALclassDefinition *record;
  std::string name;
  const host::Class *super;                      // null for a root class
  std::size_t instanceSize;                      // bytes, all super classes included
  std::vector<host::ClassFunction> constructors; // of the whole chain, super class first
  std::vector<host::ClassFunction> destructors;  // of the whole chain, subclass first
  std::vector<host::Property> properties;
  std::vector<host::Method> methods;
  std::vector<host::Method> sharedMethods;
  std::vector<host::Constant> constants;
  std::vector<std::pair<HostWord, HostFunction>> handlers; // event handlers that the class writes
  std::unique_ptr<REALclassDefinition> ownRecord;          // of a class that host code defined
  bool registered;                                         // through a record, by a plug-in
};
