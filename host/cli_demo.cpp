// quillix-host demo: a host program that publishes functions and a class of its own to Python and
// lets a Python script use them. The host functions stand here as host code writes them: they take
// the pointer to the argument tuple and hand back the pointer of a result, or nil after an error.
#include "host/call.h"
#include "host/cli.h"

#include <filesystem>
#include <map>
#include <string>

#ifndef QUILLIX_EXAMPLES_PATH
#define QUILLIX_EXAMPLES_PATH "examples"
#endif

namespace {

using host::callShared;
using host::create;
using host::Object;
using host::String;

using Arguments = void *; // a tuple of Python's
using Result = void *;    // a reference that Python takes over

Object argumentsOf(Arguments tuple) {
  return create("PythonParameters", "Constructor(paramPtr as Ptr)", tuple);
}

Result pointerOf(const Object &result) { return result.call<Result>("GetPtr() as Ptr"); }

Result none() { return pointerOf(create("PythonResult", "Constructor()")); }

template <class T> Result give(const char *constructor, const T &value) {
  return pointerOf(create("PythonResult", constructor, value));
}

Result fail(const char *errorType, const char *message) {
  callShared("Quillix", "SetError(errorType as Integer, message as String)",
             host::constant("PythonErrorTypes", errorType), message);
  return nullptr;
}

// What Python's own tuple(), list() or dict() makes of the arguments.
Result copyWith(const char *builtin, const Object &arguments) {
  Object module =
      callShared<Object>("Quillix", "GetModule(name as String) as PythonModule", "__builtin__");
  Object function = module.call<Object>("GetFunction(name as String) as PythonFunction", builtin);
  Object copy =
      function.call<Object>("Invoke(parameters as PythonParameters) as PythonResult", arguments);
  return copy ? pointerOf(copy) : nullptr;
}

// --- values: each is read as what it is, and a new one is made of it -----------------------------

// A big integer fits one of the two 64-bit types; the other leaves Python's OverflowError.
Result echoBigInteger(const Object &arguments) {
  const auto value = arguments.call<std::int64_t>("Int64Value(index as Integer) as Int64", 0);
  if (!callShared<bool>("Quillix", "ErrorOccurred() as Boolean"))
    return give("Constructor(value as Int64)", value);
  callShared("Quillix", "ClearError()");
  return give("Constructor(value as UInt64)",
              arguments.call<std::uint64_t>("UInt64Value(index as Integer) as UInt64", 0));
}

Result echo(void *, Arguments tuple) {
  Object a = argumentsOf(tuple);
  if (a.call<bool>("IsBoolean(index as Integer) as Boolean", 0))
    return give("Constructor(value as Boolean)",
                a.call<bool>("BooleanValue(index as Integer) as Boolean", 0));
  if (a.call<bool>("IsInteger(index as Integer) as Boolean", 0))
    return give("Constructor(value as Int32)",
                a.call<int>("IntegerValue(index as Integer) as Integer", 0));
  if (a.call<bool>("IsBigInteger(index as Integer) as Boolean", 0))
    return echoBigInteger(a);
  if (a.call<bool>("IsDouble(index as Integer) as Boolean", 0))
    return give("Constructor(value as Double)",
                a.call<double>("DoubleValue(index as Integer) as Double", 0));
  if (a.call<bool>("IsString(index as Integer) as Boolean", 0))
    return give("Constructor(value as String)",
                a.call<String>("StringValue(index as Integer) as String", 0));
  if (a.call<bool>("IsTuple(index as Integer) as Boolean", 0))
    return copyWith("tuple", a);
  if (a.call<bool>("IsList(index as Integer) as Boolean", 0))
    return copyWith("list", a);
  if (a.call<bool>("IsDictionary(index as Integer) as Boolean", 0))
    return copyWith("dict", a);
  return none();
}

Result kindOf(void *, Arguments tuple) {
  Object a = argumentsOf(tuple);
  std::string kind = "nothing the host can hold";
  if (a.call<bool>("IsBoolean(index as Integer) as Boolean", 0))
    kind = "a Boolean";
  else if (a.call<bool>("IsInteger(index as Integer) as Boolean", 0))
    kind = "an Integer";
  else if (a.call<bool>("IsBigInteger(index as Integer) as Boolean", 0))
    kind = "a big integer";
  else if (a.call<bool>("IsDouble(index as Integer) as Boolean", 0))
    kind = "a Double";
  else if (a.call<bool>("IsString(index as Integer) as Boolean", 0))
    kind =
        "a String of " +
        std::to_string(a.call<String>("StringValue(index as Integer) as String", 0).text().size()) +
        " bytes";
  else if (a.call<bool>("IsTuple(index as Integer) as Boolean", 0))
    kind = "a tuple of " +
           std::to_string(a.call<Object>("TupleValue(index as Integer) as PythonParameters", 0)
                              .get<int>("Count"));
  else if (a.call<bool>("IsList(index as Integer) as Boolean", 0))
    kind = "a list of " +
           std::to_string(
               a.call<Object>("ListValue(index as Integer) as PythonList", 0).get<int>("Count"));
  else if (a.call<bool>("IsDictionary(index as Integer) as Boolean", 0))
    kind = "a dictionary of " +
           std::to_string(a.call<Object>("DictionaryValue(index as Integer) as PythonDictionary", 0)
                              .get<int>("Count"));
  return give("Constructor(value as String)", kind);
}

// --- accounts: host objects, of which Python sees capsules ---------------------------------------

struct AccountRecord {
  std::string owner;
  int balance = 0;
};

std::map<REALobject, AccountRecord> gAccounts; // the living ones
int gAccountsOpened = 0;

AccountRecord *accountIn(const Object &arguments, int index) {
  Object account = arguments.call<Object>("ObjectValue(index as Integer) as Object", index);
  auto found = gAccounts.find(account.get());
  return found == gAccounts.end() ? nullptr : &found->second;
}

Result openAccount(void *, Arguments tuple) {
  Object account = create("Account");
  const REALobject key = account.get();
  gAccounts[key].owner =
      argumentsOf(tuple).call<std::string>("StringValue(index as Integer) as String", 0);
  host::onDestroyed(account, [key] { gAccounts.erase(key); });
  ++gAccountsOpened;
  return give("Constructor(value as Object)", account);
}

Result owner(void *, Arguments tuple) {
  const AccountRecord *account = accountIn(argumentsOf(tuple), 0);
  return account ? give("Constructor(value as String)", account->owner)
                 : fail("TypeError", "an account is needed");
}

Result isAccountOf(void *, Arguments tuple) {
  Object a = argumentsOf(tuple);
  const AccountRecord *account = accountIn(a, 0);
  return give("Constructor(value as Boolean)",
              account && account->owner ==
                             a.call<std::string>("StringValue(index as Integer) as String", 1));
}

Result accountsOpened(void *, Arguments) {
  return give("Constructor(value as Int32)", gAccountsOpened);
}

// --- class Ledger: the instance comes first among the arguments ----------------------------------

Result deposit(void *, Arguments tuple) {
  Object a = argumentsOf(tuple);
  const int amount = a.call<int>("IntegerValue(index as Integer) as Integer", 2);
  AccountRecord *account = accountIn(a, 1);
  if (!account)
    return fail("TypeError", "an account is needed");
  if (amount <= 0)
    return fail("ValueError", "only a positive amount can be deposited");
  account->balance += amount;
  return none();
}

Result balance(void *, Arguments tuple) {
  const AccountRecord *account = accountIn(argumentsOf(tuple), 1);
  return account ? give("Constructor(value as Int32)", account->balance)
                 : fail("TypeError", "an account is needed");
}

// --- publishing ----------------------------------------------------------------------------------

struct NamedFunction {
  const char *name;
  Result (*function)(void *, Arguments);
};

constexpr NamedFunction kFunctions[] = {
    {"echo", echo},
    {"kind_of", kindOf},
    {"open_account", openAccount},
    {"owner", owner},
    {"is_account_of", isAccountOf},
    {"accounts_opened", accountsOpened},
};

constexpr NamedFunction kLedgerMethods[] = {
    {"deposit", deposit},
    {"balance", balance},
};

template <std::size_t N>
Object describe(const char *className, const char *name, const NamedFunction (&functions)[N]) {
  Object described = create(className, "Constructor(name as String, methodCount as UInt32)", name,
                            static_cast<std::uint32_t>(N));
  for (const NamedFunction &function : functions)
    described.call("RegisterFunction(name as String, fuction as Ptr)", function.name,
                   function.function);
  return described;
}

void publishBank() {
  Object bank = describe("PythonXojoModule", "bank", kFunctions);
  bank.call("AddClass(classToAdd as PythonXojoClass)",
            describe("PythonXojoClass", "Ledger", kLedgerMethods));
  callShared("Quillix", "RegisterXojoModule(xojoModule as PythonXojoModule)", bank);
}

} // namespace

const char *const cli::kDemoHelp =
    R"(usage: quillix-host demo [FILE.py]

Publishes host functions and a host class to Python as the module `bank`, then imports FILE.py,
which uses them, and calls its function run. FILE.py is examples/host_demo.py unless another one is
named.

Exit status: 0 success; 1 Python raised an error, which is shown on standard error; 2 wrong usage;
3 something was still alive at the end that should have been gone.
)";

int cli::demo(Arguments arguments) {
  const std::filesystem::path file = std::filesystem::absolute(
      arguments.empty() ? QUILLIX_EXAMPLES_PATH "/host_demo.py" : arguments[0]);
  if (arguments.size() > 1)
    return badUsage("demo takes one file", kDemoHelp);
  if (file.extension() != ".py" || !std::filesystem::is_regular_file(file))
    return badUsage(file.string() + " is no Python file", kDemoHelp);
  if (!startPython(file.parent_path().string()))
    return kFailure;
  host::defineClass("Account");
  publishBank();
  const int result =
      callFunction(file.stem().string(), "run",
                   create("PythonParameters", "Constructor(parameterCount as Integer)", 0));
  return stopPython(result);
}
