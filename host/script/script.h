// A small interpreter of the host's language, so that host code can be run as it is written for the
// real host. See `quillix-host script --help` for what it knows.
#pragma once

#include "host/script/value.h"

#include <string>
#include <string_view>
#include <vector>

namespace script {

struct TypeName {
  std::string name;
  bool isArray = false;
  int line = 0;
};

struct Expression {
  enum class Kind {
    Literal,   // value
    Name,      // name
    Member,    // parts[0].name
    Call,      // parts[0](the other parts): a call, an array's item or a cast
    Unary,     // name parts[0]; the operator in lower case, as in Binary
    Binary,    // parts[0] name parts[1]
    New,       // New name(parts)
    IsA,       // parts[0] IsA name
    AddressOf, // AddressOf parts[0]
  };
  Kind kind;
  int line;
  std::string name;
  std::vector<Expression> parts;
  Value value;
};

struct Statement;
using Block = std::vector<Statement>;

struct Statement {
  enum class Kind {
    Var,    // name, type; the initial value, or for an array with `flag` the last index
    Const,  // name, the value; without a type of its own
    Assign, // target, value
    Call,   // the call; with `flag` its result is not used
    If,     // the conditions, each with its block, and perhaps one block more
    For,    // name, type when it is declared here; first, last, step; flag: downwards
    ForEach,
    While,   // condition
    DoUntil, // perhaps a condition; flag: it is tested behind the block
    Scope,   // one block
    Exit,    // name: "for", "while", "do" or empty
    Continue,
    Return,
    AddHandler, // the event, the function
    Try,        // the block, those of `catches` and, with `flag`, that of Finally
    Raise,      // the exception
  };
  Kind kind;
  int line;
  std::string name;
  TypeName type;
  std::vector<Expression> expressions;
  std::vector<Block> blocks;
  bool flag = false;
  struct Catch {
    std::string name; // empty when the exception is not looked at
    TypeName type;
  };
  std::vector<Catch> catches;
};

struct Function {
  std::string name;
  std::vector<std::string> parameters;
  std::vector<TypeName> types; // of the parameters
  TypeName result;             // without a name for a Sub
  Block body;
};

// A class or a module.
struct Class {
  std::string name;
  std::string super; // of a class
  bool isModule = false;
  Block members; // Var and Const
  std::vector<Function> functions;
  std::vector<Function> shared; // all of a module's
  int line = 0;
};

struct Program {
  Block main;
  std::vector<Class> classes;
  std::vector<Function> functions;
};

// Throws Error, with the line.
Program parse(std::string_view source);

// Runs it, with the plug-in loaded, and stops Python. `folder` is what the script knows as
// ScriptFolder. Gives what the statements outside of all functions return, or 0. Throws Error, with
// the line. Nothing of the script is alive then.
int run(const Program &program, const std::string &folder);

} // namespace script
