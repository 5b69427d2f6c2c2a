#include "host/script/script.h"

#include "host/runtime/call.h"
#include "host/runtime/platform.h"

#include <algorithm>
#include <array>
#include <deque>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <utility>

namespace script {
namespace {

using host::Kind;
using host::Member;

constexpr int kDeepest = 200; // calls within calls
constexpr std::size_t kPublished = 64;
constexpr std::int64_t kLargestArray = 10'000'000; // items

struct Variable {
  std::string name;
  Value value;
  bool isConstant = false;
  bool isGlobal = false; // seen by functions
};

// What runs: the main program, a function or a method.
struct Frame {
  host::Object self;              // nil outside methods
  const Class *owner = nullptr;   // the class or module of the function
  std::deque<Variable> variables; // of all blocks that are open; stays put when it grows
  Value result;
};

using Values = std::vector<Value>;

// An exception of the host's language on its way.
struct Raised : Error {
  Raised(Value what, const std::string &text, int where)
      : Error(text, where), raised(std::move(what)) {}
  Value raised;
};

Variable *findIn(std::deque<Variable> &variables, std::string_view name) {
  const auto found = std::find_if(variables.rbegin(), variables.rend(),
                                  [&](const Variable &one) { return same(one.name, name); });
  return found == variables.rend() ? nullptr : &*found;
}

// Takes the last variables away. Each has gone before the object in it goes: that may run a
// destructor, which looks for variables.
void close(std::deque<Variable> &variables, std::size_t outer) {
  while (variables.size() > outer) {
    Value last;
    std::swap(last, variables.back().value);
    variables.pop_back();
  }
}

std::string_view nameOf(const Member &member) {
  return std::string_view(member.name).substr(0, member.name.find('('));
}

class Interpreter {
public:
  Interpreter(const Program &program, const std::string &folder);
  Interpreter(const Interpreter &) = delete;
  Interpreter &operator=(const Interpreter &) = delete;

  int run();
  void stop(); // lets go of all values, then stops Python

  void *published(std::size_t index, void *self, void *arguments);

  // For a C function, which knows no other way to it.
  static inline Interpreter *running = nullptr;

private:
  enum class Flow { Next, Exit, Continue, Return };

  // --- classes ---
  void define(const Class &declared, std::size_t heirs = 0);
  const Class *scriptClass(const host::Class *type) const;
  const Class *moduleNamed(std::string_view name) const;
  Type typeOfName(const TypeName &name);
  Value construct(const std::string &className, const Values &arguments);
  void destroyed(REALobject raw);

  // --- statements ---
  Flow execute(const Block &block);
  Flow execute(const Statement &statement);
  Flow loop(const Statement &statement);
  Flow countingLoop(const Statement &statement);
  Flow eachLoop(const Statement &statement);
  bool leaves(const Statement &loop, Flow &flow);
  Flow attempt(const Statement &statement);
  [[noreturn]] void raise(const Value &exception);
  Value exceptionOf(const Error &error);
  void declare(const Statement &statement, std::deque<Variable> &to);
  void handle(const Statement &statement);

  // --- expressions ---
  Value evaluate(const Expression &expression);
  Value call(const Expression &expression);
  Value use(const Expression &target, const Values *arguments, const Value *assigned);
  Value useVariable(Variable &variable, const Values *arguments, const Value *assigned);
  Value useMember(const Value &owner, const std::string &name, const Values *arguments,
                  const Value *assigned, bool isSuper = false);
  Value useHost(std::span<const Member> members, const std::string &owner, const host::Object &self,
                const std::string &name, const Values *arguments, const Value *assigned);
  std::optional<Value> useShared(const std::string &owner, const std::string &name,
                                 const Values *arguments, const Value *assigned);
  std::optional<Value> useFolder(const host::Object &folder, const std::string &name,
                                 const Values *arguments);
  bool hasMember(const host::Class *type, std::string_view name);
  const host::Class *ownType() const; // of the method that runs; null outside
  Variable *findVariable(std::string_view name);
  Variable *findField(const host::Object &self, const host::Class *type, std::string_view name);
  std::span<const Member> membersOf(const host::Class *type);
  bool truth(const Expression &condition);

  // --- functions ---
  struct Candidate {
    const Function *function;
    const Class *owner;
    bool isMethod = false; // which needs an object
  };
  using Candidates = std::vector<Candidate>;
  static void collect(Candidates &to, const std::vector<Function> &from, const Class *owner,
                      std::string_view name, bool isMethod = false);
  Candidates methods(const host::Class *type, std::string_view name) const;
  Candidates functionsNamed(const Expression &name) const;
  Value callBest(const Candidates &candidates, const host::Object &self, const Values &arguments);
  Value callFunction(const Candidate &called, const host::Object &self, const Values &arguments);
  Candidate addressed(const Expression &expression, const std::vector<Type> &types);
  Value address(const Expression &expression);

  // --- errors in code that Python or the host called, which must not pass through them ---
  template <class Run> bool guarded(Run run);
  void rethrow();

  const Program &program_;
  Frame main_;
  Frame *frame_ = &main_;
  int line_ = 0;
  int depth_ = 0;
  std::string exited_; // which loop an Exit leaves; empty for any
  std::optional<Error> pending_;
  std::map<std::string, const Class *> classes_;               // by the host's name of them
  std::map<const Class *, std::deque<Variable>> statics_;      // constants; a module's variables
  std::map<REALobject, std::deque<Variable>> fields_;          // of the living objects
  std::deque<std::deque<Variable>> dying_;                     // of those that have gone
  std::map<const host::Class *, std::vector<Member>> members_; // of the host's and plug-in's
  std::map<const TypeName *, Type> types_;
  std::vector<Candidate> published_;
};

// --- C functions for Python ----------------------------------------------------------------------

using NativeFunction = void *(*)(void *, void *);

template <std::size_t index> void *native(void *self, void *arguments) {
  return Interpreter::running->published(index, self, arguments);
}

template <std::size_t... index>
constexpr std::array<NativeFunction, sizeof...(index)> natives(std::index_sequence<index...>) {
  return {native<index>...};
}

constexpr auto kNatives = natives(std::make_index_sequence<kPublished>());

bool hasEvent(const host::Class *type, std::string_view name) {
  for (; type; type = type->super)
    for (HostWord i = 0; i < type->record->events.count; ++i)
      if (same(host::parseDeclaration(type->record->events.rows[i].declaration).name, name))
        return true;
  return false;
}

// --- choosing among overloads --------------------------------------------------------------------

// The sum of the costs; negative when the arguments do not fit.
int sumOfCosts(const std::vector<Type> &types, Arguments arguments) {
  if (types.size() != arguments.size())
    return -1;
  int sum = 0;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const int cost = costOf(arguments[i].type, types[i]);
    if (cost < 0)
      return -1;
    sum += cost;
  }
  return sum;
}

template <class Items, class TypesOf>
auto best(const Items &items, Arguments arguments, TypesOf typesOf) {
  auto found = items.end();
  int lowest = -1;
  for (auto item = items.begin(); item != items.end(); ++item) {
    const int cost = sumOfCosts(typesOf(*item), arguments);
    if (cost >= 0 && (lowest < 0 || cost < lowest)) {
      lowest = cost;
      found = item;
    }
  }
  return found;
}

std::string describe(Arguments arguments) {
  std::string result;
  for (const Value &argument : arguments)
    result += (result.empty() ? "" : ", ") + nameOf(argument.type);
  return "(" + result + ")";
}

std::vector<Type> typesOf(std::span<const host::Type> declared) {
  std::vector<Type> types;
  for (const host::Type &type : declared)
    types.push_back(typeOf(type));
  return types;
}

// --- life ----------------------------------------------------------------------------------------

Interpreter::Interpreter(const Program &program, const std::string &folder) : program_(program) {
  running = this;
  const host::Object item = host::newFolderItem(folder);
  main_.variables.push_back({"ScriptFolder", object(item, &item.type()), true, true});
}

int Interpreter::run() {
  try {
    main_.result = integer(0);
    for (const Class &declared : program_.classes)
      if (!declared.isModule)
        define(declared);
    for (const Class &declared : program_.classes)
      for (const Statement &member : declared.members)
        if (declared.isModule || member.kind == Statement::Kind::Const)
          declare(member, statics_[&declared]);
    for (const Statement &statement : program_.main) {
      if (execute(statement) == Flow::Return)
        break;
      for (Variable &variable : main_.variables)
        variable.isGlobal = true; // those of inner blocks have gone
    }
    rethrow();
    return static_cast<int>(main_.result.integer());
  } catch (const Error &error) {
    throw Error(error.what(), error.line ? error.line : line_);
  }
}

void Interpreter::stop() {
  frame_ = &main_;
  const auto letGo = [](std::deque<Variable> &variables) {
    for (Variable &variable : variables)
      if (variable.value.type.isArray || variable.value.type.kind == Kind::Object)
        const Value old = std::exchange(variable.value, zeroOf(variable.value.type));
  };
  letGo(main_.variables);
  for (auto &[owner, variables] : statics_)
    letGo(variables);
  main_.result = {};
  host::callShared("Quillix", "Finalize()");
  // Python may print until it has stopped.
  host::callShared("Quillix", "SetConsoleOutput(output as QuillixConsoleOutput)", nullptr);
  letGo(main_.variables); // what a handler has stored since
  rethrow();
}

template <class Run> bool Interpreter::guarded(Run run) {
  if (pending_)
    return false; // Python is on its way out already
  const int line = line_;
  Frame *const frame = frame_;
  const int depth = depth_;
  try {
    run();
  } catch (const Error &error) {
    pending_.emplace(error.what(), error.line ? error.line : line_);
  }
  line_ = line;
  frame_ = frame;
  depth_ = depth;
  return !pending_;
}

void Interpreter::rethrow() {
  if (pending_)
    throw *std::exchange(pending_, std::nullopt);
}

void *Interpreter::published(std::size_t index, void *self, void *arguments) {
  void *result = nullptr;
  const Type pointer{Kind::Ptr};
  const bool done = guarded([&] {
    const Value value =
        callFunction(published_[index], {}, {{pointer, self}, {pointer, arguments}});
    result = std::get<void *>(value.data);
  });
  if (done)
    return result;
  host::callShared("Quillix", "SetError(errorType as Integer, message as String)",
                   host::constant("PythonErrorTypes", "RuntimeError"),
                   "an error in the host's script: " + std::string(pending_->what()));
  return nullptr;
}

// --- classes -------------------------------------------------------------------------------------

// With the classes that it inherits from, before it.
void Interpreter::define(const Class &declared, std::size_t heirs) {
  if (scriptClass(findClass(declared.name)) == &declared)
    return;
  if (heirs > program_.classes.size())
    throw Error(declared.name + " inherits from itself", declared.line);
  if (findClass(declared.name) || host::findModule(declared.name))
    throw Error("there is a " + declared.name + " already", declared.line);
  for (const Class &other : program_.classes)
    if (!other.isModule && same(other.name, declared.super) && &other != &declared)
      define(other, heirs + 1);
  const host::Class *const super = findClass(declared.super.empty() ? "Object" : declared.super);
  if (!super)
    throw Error("there is no class " + declared.super, declared.line);
  classes_[host::defineClass(declared.name, super->name).name] = &declared;
}

const Class *Interpreter::scriptClass(const host::Class *type) const {
  const auto found = type ? classes_.find(type->name) : classes_.end();
  return found == classes_.end() ? nullptr : found->second;
}

const Class *Interpreter::moduleNamed(std::string_view name) const {
  for (const Class &declared : program_.classes)
    if (same(declared.name, name))
      return &declared;
  return nullptr;
}

Type Interpreter::typeOfName(const TypeName &name) {
  const auto known = types_.find(&name);
  if (known != types_.end())
    return known->second;
  Type type = name.name.empty() ? Type() : typeNamed(name.name);
  type.isArray = name.isArray;
  return types_[&name] = type;
}

Value Interpreter::construct(const std::string &className, const Values &arguments) {
  const host::Class *const type = findClass(className);
  if (!type)
    throw Error("there is no class " + className);
  if (type->name == "FolderItem") {
    if (sumOfCosts({{Kind::String}}, arguments) < 0)
      throw Error("New FolderItem needs a path");
    return object(host::newFolderItem(arguments[0].text()), type);
  }
  const host::Object made = host::create(type->name);
  Value result = object(made, type);
  std::vector<const Class *> chain;
  for (const host::Class *next = type; next; next = next->super)
    if (const Class *const declared = scriptClass(next))
      chain.insert(chain.begin(), declared);
  if (!chain.empty()) {
    std::deque<Variable> &fields = fields_[made.get()];
    host::onDestroyed(made, [this, raw = made.get()] { destroyed(raw); });
    for (const Class *declared : chain)
      for (const Statement &member : declared->members)
        if (member.kind == Statement::Kind::Var)
          declare(member, fields);
  }
  // The constructors of the nearest class that has any.
  for (const host::Class *next = type; next; next = next->super) {
    Candidates candidates;
    if (const Class *const declared = scriptClass(next))
      collect(candidates, declared->functions, declared, "Constructor");
    const std::span<const Member> members = membersOf(next);
    const bool hasRow = std::any_of(members.begin(), members.end(), [&](const Member &member) {
      return member.owner == next && member.isConstructor();
    });
    if (candidates.empty() && !hasRow)
      continue;
    if (hasRow) {
      std::vector<Member> own;
      std::copy_if(members.begin(), members.end(), std::back_inserter(own),
                   [&](const Member &member) { return member.owner == next; });
      useHost(own, next->name, made, "Constructor", &arguments, nullptr);
    } else
      callBest(candidates, made, arguments);
    return result;
  }
  if (!arguments.empty())
    throw Error(type->name + " has no constructor");
  return result;
}

// Before the last lock of an object is given up for good.
void Interpreter::destroyed(REALobject raw) {
  ++raw->locks; // the destructor may take and give back locks
  for (const Candidate &destructor : methods(raw->type, "Destructor"))
    guarded([&] {
      callFunction(destructor, host::Object::share(raw), {});
      if (raw->locks > 1)
        throw Error("a destructor cannot keep its object", destructor.function->body.front().line);
    });
  dying_.push_back(std::move(fields_[raw]));
  fields_.erase(raw);
  --raw->locks;
  // What the fields hold goes one after the other, not each within the one before.
  if (dying_.size() == 1)
    for (; !dying_.empty(); dying_.pop_front())
      close(dying_.front(), 0);
}

// --- statements ----------------------------------------------------------------------------------

Interpreter::Flow Interpreter::execute(const Block &block) {
  const std::size_t outer = frame_->variables.size();
  Flow flow = Flow::Next;
  for (const Statement &statement : block)
    if ((flow = execute(statement)) != Flow::Next)
      break;
  close(frame_->variables, outer);
  return flow;
}

Interpreter::Flow Interpreter::execute(const Statement &statement) {
  rethrow();
  line_ = statement.line;
  const auto &parts = statement.expressions;
  switch (statement.kind) {
  case Statement::Kind::Var:
  case Statement::Kind::Const:
    declare(statement, frame_->variables);
    break;
  case Statement::Kind::Assign: {
    const Value value = evaluate(parts[1]);
    const bool isCall = parts[0].kind == Expression::Kind::Call;
    Values arguments;
    for (std::size_t i = 1; isCall && i < parts[0].parts.size(); ++i)
      arguments.push_back(evaluate(parts[0].parts[i]));
    use(isCall ? parts[0].parts[0] : parts[0], isCall ? &arguments : nullptr, &value);
    break;
  }
  case Statement::Kind::Call: {
    const Value result = evaluate(parts[0]);
    if (result.type.kind != Kind::None && !statement.flag)
      throw Error("the result is not used; say so with Call", statement.line);
    break;
  }
  case Statement::Kind::If:
    for (std::size_t i = 0; i < statement.blocks.size(); ++i)
      if (i == parts.size() || truth(parts[i]))
        return execute(statement.blocks[i]);
    break;
  case Statement::Kind::For:
  case Statement::Kind::ForEach:
  case Statement::Kind::While:
  case Statement::Kind::DoUntil:
    return loop(statement);
  case Statement::Kind::Scope:
    return execute(statement.blocks[0]);
  case Statement::Kind::Exit:
    exited_ = statement.name;
    return exited_ == "sub" || exited_ == "function" ? Flow::Return : Flow::Exit;
  case Statement::Kind::Continue:
    return Flow::Continue;
  case Statement::Kind::Return:
    if (!parts.empty())
      frame_->result = convert(evaluate(parts[0]), frame_->result.type);
    return Flow::Return;
  case Statement::Kind::AddHandler:
    handle(statement);
    break;
  case Statement::Kind::Try:
    return attempt(statement);
  case Statement::Kind::Raise:
    raise(evaluate(parts[0]));
  }
  return Flow::Next;
}

// What a Catch gets for an error; nil for one that a compiler would find.
Value Interpreter::exceptionOf(const Error &error) {
  if (const auto *const raised = dynamic_cast<const Raised *>(&error))
    return raised->raised;
  if (const auto *const fault = dynamic_cast<const Fault *>(&error))
    return construct(fault->className, {text(fault->what())});
  return nil();
}

void Interpreter::raise(const Value &exception) {
  const Value raised = convert(exception, typeNamed("RuntimeException"));
  if (!raised.object())
    throw Fault("NilObjectException", "Raise of Nil");
  const std::string &told = findIn(fields_[raised.object().get()], "Message")->value.text();
  throw Raised(raised, raised.object().className() + (told.empty() ? "" : ": ") + told, line_);
}

Interpreter::Flow Interpreter::attempt(const Statement &statement) {
  const std::size_t outer = frame_->variables.size();
  Flow flow = Flow::Next;
  std::exception_ptr error;
  const auto run = [&](const Block &block) {
    try {
      flow = execute(block);
      error = nullptr;
    } catch (Error &thrown) {
      if (!thrown.line)
        thrown.line = line_;
      error = std::current_exception();
      close(frame_->variables, outer);
    }
  };
  run(statement.blocks[0]);
  Value exception = nil();
  if (error)
    try {
      std::rethrow_exception(error);
    } catch (const Error &thrown) {
      exception = exceptionOf(thrown);
    }
  for (std::size_t i = 0; exception.object() && i < statement.catches.size(); ++i) {
    const Statement::Catch &caught = statement.catches[i];
    const Type type = caught.name.empty() ? typeNamed("RuntimeException") : typeOfName(caught.type);
    if (costOf({Kind::Object, &exception.object().type()}, type) < 0)
      continue;
    frame_->variables.push_back({caught.name, object(exception.object(), type.type)});
    exception = nil();
    error = nullptr; // it goes with the variable
    run(statement.blocks[i + 1]);
    close(frame_->variables, outer);
  }
  if (statement.flag) {
    const Flow before = flow;
    const std::exception_ptr first = error;
    run(statement.blocks.back());
    if (!error && flow == Flow::Next) {
      flow = before;
      error = first;
    }
  }
  if (error)
    std::rethrow_exception(error);
  return flow;
}

void Interpreter::declare(const Statement &statement, std::deque<Variable> &to) {
  const bool isConstant = statement.kind == Statement::Kind::Const;
  Variable variable{statement.name, {}, isConstant};
  if (isConstant)
    variable.value = evaluate(statement.expressions[0]);
  else {
    const Type type = typeOfName(statement.type);
    variable.value = zeroOf(type);
    if (statement.flag) {
      const std::int64_t last =
          convert(evaluate(statement.expressions[0]), {Kind::Int64}).integer();
      if (last < -1 || last >= kLargestArray)
        throw Error("an array with the last index " + std::to_string(last));
      variable.value.array().items.resize(static_cast<std::size_t>(last + 1),
                                          zeroOf({type.kind, type.type}));
    } else if (!statement.expressions.empty())
      variable.value = convert(evaluate(statement.expressions[0]), type);
  }
  to.push_back(std::move(variable));
}

Interpreter::Flow Interpreter::loop(const Statement &statement) {
  const std::size_t outer = frame_->variables.size();
  Flow flow = Flow::Next;
  if (statement.kind == Statement::Kind::For)
    flow = countingLoop(statement);
  else if (statement.kind == Statement::Kind::ForEach)
    flow = eachLoop(statement);
  else {
    const bool isWhile = statement.kind == Statement::Kind::While;
    const bool isTested = !statement.expressions.empty();
    for (bool isFirst = true;; isFirst = false) {
      const bool isSkipped = isFirst && statement.flag;
      if (isTested && !isSkipped && truth(statement.expressions[0]) != isWhile)
        break;
      flow = execute(statement.blocks[0]);
      if (leaves(statement, flow))
        break;
    }
  }
  close(frame_->variables, outer);
  return flow;
}

// Whether the loop ends, and what is left to do for those around it.
bool Interpreter::leaves(const Statement &loop, Flow &flow) {
  if (flow == Flow::Next || flow == Flow::Continue) {
    flow = Flow::Next;
    return false;
  }
  const char *const name = loop.kind == Statement::Kind::While     ? "while"
                           : loop.kind == Statement::Kind::DoUntil ? "do"
                                                                   : "for";
  if (flow == Flow::Exit && (exited_.empty() || exited_ == name))
    flow = Flow::Next;
  return true;
}

Interpreter::Flow Interpreter::countingLoop(const Statement &statement) {
  const auto &parts = statement.expressions;
  if (!statement.type.name.empty())
    frame_->variables.push_back({statement.name, zeroOf(typeOfName(statement.type))});
  Variable *const counter = findVariable(statement.name);
  if (!counter)
    throw Error("there is no variable " + statement.name);
  const Type type = counter->value.type;
  const Value first = convert(evaluate(parts[0]), type);
  const Value last = evaluate(parts[1]);
  const Value step = parts.size() > 2 ? evaluate(parts[2]) : integer(1);
  const bool isDown = statement.flag || binary("<", step, integer(0)).truth();
  Flow flow = Flow::Next;
  for (counter->value = first; binary(isDown ? ">=" : "<=", counter->value, last).truth();
       counter->value = convert(binary(statement.flag ? "-" : "+", counter->value, step), type)) {
    flow = execute(statement.blocks[0]);
    if (leaves(statement, flow))
      break;
  }
  return flow;
}

Interpreter::Flow Interpreter::eachLoop(const Statement &statement) {
  const Value items = evaluate(statement.expressions[0]);
  if (!items.type.isArray)
    throw Error("For Each needs an array");
  const Type type = typeOfName(statement.type);
  frame_->variables.push_back({statement.name, zeroOf(type)});
  Variable &item = frame_->variables.back();
  Flow flow = Flow::Next;
  for (std::size_t i = 0; i < items.array().items.size(); ++i) {
    item.value = convert(items.array().items[i], type);
    flow = execute(statement.blocks[0]);
    if (leaves(statement, flow))
      break;
  }
  return flow;
}

void Interpreter::handle(const Statement &statement) {
  const Expression &event = statement.expressions[0];
  if (event.kind != Expression::Kind::Member)
    throw Error("an event is expected");
  const Value sender = evaluate(event.parts[0]);
  const bool isObject = sender.type.kind == Kind::Object && !sender.type.isArray;
  if (!isObject || !sender.object() || !hasEvent(sender.type.type, event.name))
    throw Error(nameOf(sender.type) + " has no event " + event.name);
  const Candidate handler = addressed(statement.expressions[1], {sender.type, {Kind::String}});
  const auto run = [this, handler, raw = sender.object().get(), type = sender.type.type,
                    self =
                        handler.isMethod ? frame_->self : host::Object()](std::string_view output) {
    guarded([&] {
      callFunction(handler, self,
                   {object(host::Object::share(raw), type), text(std::string(output))});
    });
  };
  host::onConsoleOutput(sender.object(), run);
}

// --- expressions ---------------------------------------------------------------------------------

bool Interpreter::truth(const Expression &condition) {
  line_ = condition.line;
  return convert(evaluate(condition), {Kind::Boolean}).truth();
}

Value Interpreter::evaluate(const Expression &expression) {
  const auto &parts = expression.parts;
  switch (expression.kind) {
  case Expression::Kind::Literal:
    return expression.value;
  case Expression::Kind::Name:
  case Expression::Kind::Member:
    return use(expression, nullptr, nullptr);
  case Expression::Kind::Call:
    return call(expression);
  case Expression::Kind::Unary:
    return unary(expression.name, evaluate(parts[0]));
  case Expression::Kind::Binary: {
    Value left = evaluate(parts[0]);
    const bool isBoolean = left.type == Type{Kind::Boolean};
    if (isBoolean && left.truth() == (expression.name == "or") &&
        (expression.name == "or" || expression.name == "and"))
      return left;
    return binary(expression.name, left, evaluate(parts[1]));
  }
  case Expression::Kind::New: {
    Values arguments;
    for (const Expression &part : parts)
      arguments.push_back(evaluate(part));
    line_ = expression.line;
    return construct(expression.name, arguments);
  }
  case Expression::Kind::IsA: {
    const Value tested = convert(evaluate(parts[0]), typeNamed("Object"));
    const Type type = typeNamed(expression.name);
    return boolean(tested.object() && costOf({Kind::Object, &tested.object().type()}, type) >= 0);
  }
  case Expression::Kind::AddressOf:
    return address(parts[0]);
  }
  throw Error("an expression of no kind");
}

Value Interpreter::call(const Expression &expression) {
  Values arguments;
  for (std::size_t i = 1; i < expression.parts.size(); ++i)
    arguments.push_back(evaluate(expression.parts[i]));
  line_ = expression.line;
  const Expression &called = expression.parts[0];
  if (called.kind == Expression::Kind::Name || called.kind == Expression::Kind::Member)
    return use(called, &arguments, nullptr);
  return itemOf(evaluate(called), arguments);
}

// Reads, calls or, with `assigned`, assigns to what a name or member stands for. No arguments
// are null, empty brackets are not.
Value Interpreter::use(const Expression &target, const Values *arguments, const Value *assigned) {
  const std::string &name = target.name;
  const host::Class *const own = ownType();
  const auto isSelf = [](const Expression &part) {
    return part.kind == Expression::Kind::Name &&
           (same(part.name, "Me") || same(part.name, "Self"));
  };
  if (target.kind == Expression::Kind::Member) {
    const Expression &left = target.parts[0];
    if (left.kind == Expression::Kind::Name && own && same(left.name, "Super"))
      return useMember(object(frame_->self, own->super), name, arguments, assigned, true);
    if (left.kind == Expression::Kind::Name && !findVariable(left.name) && !isSelf(left))
      if (const std::optional<Value> shared = useShared(left.name, name, arguments, assigned))
        return *shared;
    const Value owner = evaluate(left);
    line_ = target.line;
    return useMember(owner, name, arguments, assigned);
  }
  if (target.kind != Expression::Kind::Name)
    throw Error("nothing can be assigned to this");
  if (isSelf(target) && own)
    return object(frame_->self, own);
  if (Variable *const variable = findVariable(name))
    return useVariable(*variable, arguments, assigned);
  if (own && hasMember(own, name))
    return useMember(object(frame_->self, own), name, arguments, assigned);
  if (frame_->owner)
    if (const std::optional<Value> shared =
            useShared(frame_->owner->name, name, arguments, assigned))
      return *shared;
  if (assigned)
    throw Error("there is no variable " + name);
  const Values given = arguments ? *arguments : Values();
  Candidates candidates;
  collect(candidates, program_.functions, nullptr, name);
  if (!candidates.empty())
    return callBest(candidates, {}, given);
  if (isFunction(name))
    return script::callFunction(name, given);
  if (same(name, "Integer") && given.size() == 1 && given[0].type == Type{Kind::Ptr})
    return integer(static_cast<std::int64_t>(
        reinterpret_cast<std::uintptr_t>(std::get<void *>(given[0].data))));
  if (const host::Class *const type = findClass(name); type && given.size() == 1) {
    const Value whole = convert(given[0], typeNamed("Object"));
    if (whole.object() && !host::isA(whole.object().type(), type->name))
      throw Fault("IllegalCastException",
                  "the object is a " + whole.object().className() + ", no " + type->name);
    return object(whole.object(), type);
  }
  throw Error("there is no " + name);
}

const host::Class *Interpreter::ownType() const {
  return frame_->self ? findClass(frame_->owner->name) : nullptr;
}

Variable *Interpreter::findVariable(std::string_view name) {
  if (Variable *const local = findIn(frame_->variables, name))
    return local;
  if (Variable *const field = findField(frame_->self, ownType(), name))
    return field;
  if (frame_ == &main_)
    return nullptr;
  const auto global =
      std::find_if(main_.variables.rbegin(), main_.variables.rend(),
                   [&](const Variable &one) { return one.isGlobal && same(one.name, name); });
  return global == main_.variables.rend() ? nullptr : &*global;
}

// A field that the class, or one that it inherits from, declares.
Variable *Interpreter::findField(const host::Object &self, const host::Class *type,
                                 std::string_view name) {
  for (; type; type = type->super)
    if (const Class *const declared = scriptClass(type))
      for (const Statement &member : declared->members)
        if (member.kind == Statement::Kind::Var && same(member.name, name))
          return findIn(fields_[self.get()], name);
  return nullptr;
}

Value Interpreter::useVariable(Variable &variable, const Values *arguments, const Value *assigned) {
  Value &value = arguments ? itemOf(variable.value, *arguments) : variable.value;
  if (!assigned)
    return value;
  if (variable.isConstant)
    throw Error(variable.name + " is a constant");
  // What it held goes only when the new value is in place: that may run a destructor.
  Value other = convert(*assigned, value.type);
  std::swap(value, other);
  return {};
}

std::span<const Member> Interpreter::membersOf(const host::Class *type) {
  const auto known = members_.find(type);
  return known != members_.end() ? known->second : members_[type] = host::membersOf(*type);
}

bool Interpreter::hasMember(const host::Class *type, std::string_view name) {
  const std::span<const Member> members = membersOf(type);
  return !methods(type, name).empty() ||
         std::any_of(members.begin(), members.end(),
                     [&](const Member &member) { return same(nameOf(member), name); });
}

Value Interpreter::useMember(const Value &owner, const std::string &name, const Values *arguments,
                             const Value *assigned, bool isSuper) {
  const Values given = arguments ? *arguments : Values();
  if (owner.type.isArray || owner.type.kind != Kind::Object) {
    if (assigned)
      throw Error(nameOf(owner.type) + "." + name + " cannot be assigned to");
    return callMember(owner, name, given);
  }
  const host::Object &self = owner.object();
  const host::Class *const type = owner.type.type;
  if (!self)
    throw Fault("NilObjectException",
                "there is no object: " + nameOf(owner.type) + "." + name + " of Nil");
  if (Variable *const field = findField(self, type, name))
    return useVariable(*field, arguments, assigned);
  // Known by the declared class; run as the object's own class has it.
  if (!methods(type, name).empty() && !assigned)
    return callBest(methods(isSuper ? type : &self.type(), name), self, given);
  if (type->name == "FolderItem" && !assigned)
    if (const std::optional<Value> result = useFolder(self, name, arguments))
      return *result;
  return useHost(membersOf(type), type->name, self, name, arguments, assigned);
}

// What the stand-in host's FolderItem has not.
std::optional<Value> Interpreter::useFolder(const host::Object &folder, const std::string &name,
                                            const Values *arguments) {
  using host::platform::pathOf;
  using host::platform::textOf;
  const std::filesystem::path path = pathOf(folder.get<std::string>("NativePath"));
  const auto item = [&](const std::filesystem::path &other) {
    return object(host::newFolderItem(textOf(other)), &folder.type());
  };
  if (same(name, "Child") && arguments && arguments->size() == 1)
    return item(path / pathOf(convert((*arguments)[0], {Kind::String}).text()));
  if (same(name, "Parent") && !arguments)
    return item(path.parent_path());
  if (same(name, "Name") && !arguments)
    return text(textOf(path.filename()));
  if (same(name, "Exists") && !arguments)
    return boolean(std::filesystem::exists(path));
  return std::nullopt;
}

// A member of the host's or the plug-in's; `self` is nil for a shared one.
Value Interpreter::useHost(std::span<const Member> members, const std::string &owner,
                           const host::Object &self, const std::string &name,
                           const Values *arguments, const Value *assigned) {
  Values given = arguments ? *arguments : Values();
  std::vector<const Member *> candidates;
  bool isKnown = false;
  for (const Member &member : members) {
    if (!same(nameOf(member), name))
      continue;
    isKnown = true;
    if ((member.role == Member::Role::Setter) == (assigned != nullptr) &&
        !(member.role == Member::Role::Getter && arguments))
      candidates.push_back(&member);
  }
  if (!isKnown)
    throw Error(owner + " has no member " + name);
  if (candidates.empty())
    throw Error(owner + "." + name + (assigned ? " cannot be assigned to" : " takes no arguments"));
  if (assigned)
    given.push_back(*assigned);
  const auto found =
      best(candidates, given, [](const Member *member) { return typesOf(member->parameters); });
  if (found == candidates.end())
    throw Error(owner + "." + name + " does not take " + describe(given));
  const Member &member = **found;
  std::vector<host::Value> passed;
  for (std::size_t i = 0; i < given.size(); ++i)
    passed.push_back(toHost(given[i], member.parameters[i]));
  const host::Value result = host::call(member, self, passed);
  rethrow();
  return fromHost(result, member.result);
}

// A member of a class or module itself; nothing when there is none of that name.
std::optional<Value> Interpreter::useShared(const std::string &owner, const std::string &name,
                                            const Values *arguments, const Value *assigned) {
  if (!assigned && isFunction(owner + "." + name))
    return script::callFunction(owner + "." + name, arguments ? *arguments : Values());
  if (const Class *const declared = moduleNamed(owner)) {
    if (Variable *const variable = findIn(statics_[declared], name))
      return useVariable(*variable, arguments, assigned);
    Candidates candidates;
    collect(candidates, declared->shared, declared, name);
    if (!candidates.empty() && !assigned)
      return callBest(candidates, {}, arguments ? *arguments : Values());
    return std::nullopt;
  }
  const auto constantIn = [&](const std::vector<host::Constant> &constants) {
    std::optional<Value> found;
    for (const host::Constant &constant : constants)
      if (same(constant.name, name) && !arguments && !assigned)
        found = integer(constant.value);
    return found;
  };
  for (const host::Module *module : host::modules())
    if (same(module->name, owner))
      return constantIn(module->constants);
  const host::Class *const type = findClass(owner);
  if (!type)
    return std::nullopt;
  if (std::optional<Value> constant = constantIn(type->constants))
    return constant;
  std::vector<Member> members;
  for (Member &member : host::sharedMembers())
    if (member.owner == type)
      members.push_back(std::move(member));
  return useHost(members, type->name, {}, name, arguments, assigned);
}

// --- functions -----------------------------------------------------------------------------------

void Interpreter::collect(Candidates &to, const std::vector<Function> &from, const Class *owner,
                          std::string_view name, bool isMethod) {
  for (const Function &function : from)
    if (same(function.name, name))
      to.push_back({&function, owner, isMethod});
}

Value Interpreter::callBest(const Candidates &candidates, const host::Object &self,
                            const Values &arguments) {
  const auto found = best(candidates, arguments, [&](const Candidate &candidate) {
    std::vector<Type> types;
    for (const TypeName &type : candidate.function->types)
      types.push_back(typeOfName(type));
    return types;
  });
  if (found == candidates.end())
    throw Error(candidates.front().function->name + " does not take " + describe(arguments));
  return callFunction(*found, self, arguments);
}

Value Interpreter::callFunction(const Candidate &called, const host::Object &self,
                                const Values &arguments) {
  if (depth_ == kDeepest)
    throw Error("too many calls within calls");
  const Function &function = *called.function;
  Frame frame{self, called.owner, {}, zeroOf(typeOfName(function.result))};
  for (std::size_t i = 0; i < arguments.size(); ++i)
    frame.variables.push_back(
        {function.parameters[i], convert(arguments[i], typeOfName(function.types[i]))});
  Frame *const caller = std::exchange(frame_, &frame);
  const int line = line_;
  ++depth_;
  try {
    execute(function.body);
    close(frame.variables, 0);
  } catch (...) {
    frame_ = caller;
    --depth_;
    throw;
  }
  frame_ = caller;
  --depth_;
  line_ = line;
  rethrow();
  return std::move(frame.result);
}

// Of a class and those that it inherits from, its own first.
Interpreter::Candidates Interpreter::methods(const host::Class *type, std::string_view name) const {
  Candidates candidates;
  for (; type; type = type->super)
    if (const Class *const declared = scriptClass(type))
      collect(candidates, declared->functions, declared, name);
  return candidates;
}

Interpreter::Candidates Interpreter::functionsNamed(const Expression &name) const {
  Candidates candidates;
  if (name.kind == Expression::Kind::Member && name.parts[0].kind == Expression::Kind::Name) {
    if (const Class *const owner = moduleNamed(name.parts[0].name))
      collect(candidates, owner->shared, owner, name.name);
  } else if (name.kind == Expression::Kind::Name) {
    if (frame_->self)
      collect(candidates, frame_->owner->functions, frame_->owner, name.name, true);
    if (frame_->owner)
      collect(candidates, frame_->owner->shared, frame_->owner, name.name);
    collect(candidates, program_.functions, nullptr, name.name);
  }
  return candidates;
}

// The function whose parameters are exactly of these types, as one that is called from outside.
Interpreter::Candidate Interpreter::addressed(const Expression &expression,
                                              const std::vector<Type> &types) {
  const Expression &name =
      expression.kind == Expression::Kind::AddressOf ? expression.parts[0] : expression;
  for (const Candidate &candidate : functionsNamed(name)) {
    bool isFit = candidate.function->types.size() == types.size();
    for (std::size_t i = 0; isFit && i < types.size(); ++i)
      isFit = costOf(types[i], typeOfName(candidate.function->types[i])) >= 0;
    if (isFit)
      return candidate;
  }
  throw Error("there is no function " + name.name + " with the parameters that are needed");
}

Value Interpreter::address(const Expression &expression) {
  const Type pointer{Kind::Ptr};
  const Candidate called = addressed(expression, {pointer, pointer});
  if (called.isMethod)
    throw Error(called.function->name + " is no function of a module, nor a shared one");
  if (typeOfName(called.function->result) != pointer)
    throw Error(called.function->name + " does not return a Ptr");
  std::size_t index = 0;
  while (index < published_.size() && published_[index].function != called.function)
    ++index;
  if (index == kPublished)
    throw Error("a script has at most " + std::to_string(kPublished) + " functions for Python");
  if (index == published_.size())
    published_.push_back(called);
  return {pointer, reinterpret_cast<void *>(kNatives[index])};
}

} // namespace

int run(const Program &program, const std::string &folder) {
  // Never destroyed: it has to serve objects that are still alive, to be reported.
  auto *const interpreter = new Interpreter(program, folder);
  int result = 0;
  std::exception_ptr error;
  const auto attempt = [&](auto step) {
    try {
      step();
    } catch (const Error &) {
      if (!error)
        error = std::current_exception();
    }
  };
  attempt([&] { result = interpreter->run(); });
  attempt([&] { interpreter->stop(); });
  if (error)
    std::rethrow_exception(error);
  return result;
}

} // namespace script
