// The module quillix, which comes with the plug-in. Most of it is played as lines of Python, with
// what host code could pass.

#include "tests/fields.h"

#include <sstream>

namespace {

using namespace quillix;
using host::Object;

class QuillixModuleTest : public RunningTest {
protected:
  void SetUp() override {
    RunningTest::SetUp();
    find();
  }
  // Python code in __main__ knows the module's functions by their own names, and a folder for
  // files.
  static void find() {
    host::callShared("Quillix", "AddSearchPath(f as FolderItem)",
                     host::newFolderItem(QUILLIX_SOURCE_DIR "/support"));
    runPython(R"py(import atexit, os, shutil, sys, tempfile
from quillix import *
folder = os.path.realpath(tempfile.mkdtemp())
atexit.register(shutil.rmtree, folder)
def path(name): return os.path.join(folder, name)
def write(name, content):
  if not os.path.isdir(os.path.dirname(path(name))): os.makedirs(os.path.dirname(path(name)))
  with open(path(name), 'wb') as file: file.write(content)
def ask(expression): return eval(expression, globals()))py");
  }

  static Object function(const char *name) { return getFunction(getModule("quillix"), name); }
  // The result, or the error, as host code reads it, behind "!".
  static std::string answer(const Object &result) {
    if (result)
      return reprOf(heldByResult(result));
    EXPECT_TRUE(errorOccurred());
    const std::string error = getError();
    EXPECT_FALSE(errorOccurred()) << "the error was no text";
    return "!" + error;
  }
  static Object result(const std::string &expression) {
    const Object arguments = newParameters(1);
    put(arguments, 0, expression);
    return invoke(getFunction(getModule("__main__"), "ask"), arguments);
  }
  // What the console heard since the last time, a bar behind each event.
  std::string heard() {
    std::string text;
    for (const std::string &output : std::exchange(printed, {}))
      text += output + "|";
    return text;
  }
  static std::string ask(const std::string &expression) { return answer(result(expression)); }
  static std::string text(const std::string &expression) {
    const Object held = result(expression);
    EXPECT_TRUE(held) << expression << ": " << getError();
    return held ? read<std::string>(held, {"StringValue", "String"}) : "";
  }
  // Statements, and lines "expression => answer", which are shown as Python writes them: 5L is a
  // whole number to every accessor, 5 is not. An error stands behind "!".
  static void play(const std::string &lines) {
    std::istringstream text(lines);
    std::string statements;
    for (std::string line; std::getline(text, line);) {
      const std::size_t arrow = line.find(" => ");
      if (arrow == std::string::npos) {
        statements += line + "\n";
        continue;
      }
      runPython(std::exchange(statements, ""));
      EXPECT_EQ(ask(line.substr(0, arrow)), line.substr(arrow + 4)) << line;
    }
    runPython(statements);
  }
};

TEST_F(QuillixModuleTest, tellsEveryError) {
  play(R"py(# coding: utf-8
class Classic:
  def __str__(self): return 'old style'
class Silent(Exception):
  def __str__(self): raise ValueError
class Stubborn(Exception):
  def __str__(self): raise Classic
class Foreign(Exception):
  def __str__(self): return u'\xe4'
class Hostile(Exception):
  args = property(lambda self: 1 / 0)
class Told(OSError): pass
def forever(): forever()
def steps():
  yield 1
  raise KeyError('step')
def fail(): run()
wrapped = sys.modules[wrap('__main__.fail')]
def tell(statement):
  exec 'def run():\n  ' + statement in globals()
  lines = []
  for f in (lambda: call('__main__.fail')), wrapped.invoke:
    try: f()
    except Error as e: lines.append(str(e))
  told = last_error()
  assert lines == [told['text']] * 2, lines
  assert told['traceback'].startswith('Traceback (most recent call last):\n')
  assert told['traceback'].endswith(told['text'] + '\n')
  assert 'in run\n' in told['traceback'] and 'quillix.py' not in told['traceback']
  call('__main__.fail')
last_error()['text'] => ''
tell("raise ValueError") => !ValueError
tell("int('x')") => !ValueError: invalid literal for int() with base 10: 'x'
tell("raise OSError(2, 'gone')") => !OSError: [Errno 2] gone
tell("raise Classic()") => !Classic: old style
tell("raise Silent('x')") => !Silent: Silent('x',)
tell("raise Stubborn('x')") => !Stubborn: Stubborn('x',)
tell("raise Foreign()") => !Foreign: ä
tell("raise Hostile('x')") => !Hostile: x
tell("raise ValueError(u'\\xe4\\u20ac')") => !ValueError: ä€
tell("raise ValueError('\\xe4')") => !ValueError: ä
tell("u'\\xe4'.encode('ascii')") => !UnicodeEncodeError: 'ascii' codec can't encode character u'\xe4' in position 0: ordinal not in range(128)
tell("compile('a b', 'f.py', 'exec')") => !SyntaxError: invalid syntax
tell("raise SystemExit(3)") => !SystemExit: 3
tell("raise KeyboardInterrupt") => !KeyboardInterrupt
tell("list(steps())") => !KeyError: 'step'
tell("forever()") => !RuntimeError: maximum recursion depth exceeded
tell("raise Told(2, u'\\xe4')") => !Told: [Errno 2] ä
map(last_error().get, ['class', 'module', 'file', 'line']) => ['Told', '__main__', '<string>', 2L]
map(last_error().get, ['message', 'arguments']) => ['[Errno 2] \xc3\xa4', (2L, '\xc3\xa4')]
call('quillix.evaluate', ('1 / 0',)) => !ZeroDivisionError: integer division or modulo by zero
last_error()['class'] => 'ZeroDivisionError'
)py");
  EXPECT_EQ(answer(invoke(getFunction(getModule(text("wrap('__main__.fail')")), "invoke"))),
            "!Told: [Errno 2] \xc3\xa4");
}

// Whatever its class does, or its metaclass, and whatever is said to be the place of a SyntaxError.
TEST_F(QuillixModuleTest, tellsErrorsThatAreOdd) {
  play(R"py(
import imp
class Meta(type):
  __name__ = __module__ = property(lambda self: 1 / 0)
class Veiled(Exception): __metaclass__ = Meta
class Closed(Exception):
  def __getattribute__(self, name): raise KeyError
class Mute(object):
  __metaclass__ = Meta
  __str__ = __repr__ = __unicode__ = __nonzero__ = lambda self: 1 / 0
def fail(raised): raise raised
def odd(**parts):
  raised = SyntaxError('odd')
  for part in parts.items(): setattr(raised, *part)
  return raised
def told(raised):
  try: call('__main__.fail', (raised,))
  except Error as e: return str(e), last_error()['file'], last_error()['line']
write('extension' + [suffix for suffix, _, kind in imp.get_suffixes() if kind == 3][0], 'none')
insert_path(folder)
def tell(*arguments):
  try: call(*arguments)
  except Error: return last_error()['class']
told(Veiled('x'))[0], told(Closed('x'))[0], text(Mute()) => ('Veiled: x', 'Closed: x', '<__main__.Mute>')
told(odd(lineno='five', filename='f')) => ('SyntaxError: odd', 'f', 0L)
told(odd(lineno=5, filename='f', text=5, offset='x')) => ('SyntaxError: odd', 'f', 5L)
told(odd(msg=5)), told(odd(msg=None))[0] => (('SyntaxError: 5', '<string>', 11L), 'SyntaxError')
told(odd(msg=Mute(), filename=Mute(), text=Mute()))[1:] => ('<string>', 11L)
tell('extension.f') => 'ImportError'
)py");
}

// One that user code raises, or catches and raises again when there has been another since.
TEST_F(QuillixModuleTest, tellsItsOwnErrorsOfUsers) {
  play(R"py(
def mine(): raise Error('mine')
def again():
  try: call('int', ('x',))
  except Error as first: pass
  try: call('nowhere')
  except Error: pass
  raise first
call('__main__.mine') => !Error: mine
map(last_error().get, ['class', 'module', 'message', 'file']) => ['Error', 'quillix', 'mine', '<string>']
call('__main__.again') => !ValueError: invalid literal for int() with base 10: 'x'
map(last_error().get, ['class', 'arguments']) => ['ValueError', ("invalid literal for int() with base 10: 'x'",)]
)py");
  // What is remembered of it keeps no object of the host.
  runPython("def fail(*given): raise ValueError(given)");
  const Object object = host::newFolderItem("somewhere"), arguments = newParameters(2);
  {
    const Object given = newParameters(1);
    put(given, 0, object);
    put(arguments, 0, "__main__.fail");
    arguments.assign(declarationOf(arguments.type(), kWrapperAccessors[0]).c_str(), 1, given);
  }
  EXPECT_EQ(invoke(function("call"), arguments), nullptr);
  clearError();
  arguments.call("Constructor(parameterCount as Integer)", 0);
  EXPECT_EQ(object.locks(), 1U);
}

TEST_F(QuillixModuleTest, tellsEachThreadItsOwnError) {
  play(R"py(
import threading
wrong = []
def work(name):
  for i in range(200):
    try: call('int', (name,))
    except Error as e: wrong.extend([str(e)] if repr(name) not in str(e) else [])
threads = [threading.Thread(target=work, args=('x%d' % i,)) for i in range(8)]
interval = sys.getcheckinterval()
sys.setcheckinterval(1)
for thread in threads: thread.start()
for thread in threads: thread.join()
sys.setcheckinterval(interval)
wrong => []
)py");
}

// The error of any other call, as long as nobody took it.
TEST_F(QuillixModuleTest, tellsPendingErrors) {
  play(R"py(
class Failure(Exception): pass
def fail(what):
  raise what, u'\xe4'
def stop(): raise StopIteration
write('broken.py', 'def f(:'); insert_path(folder)
)py");
  const Object main = getModule("__main__"), fail = getFunction(main, "fail"),
               describe = function("last_error"), line = function("error_text"),
               evaluate = function("evaluate");
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { invoke(fail, tupleOf("(KeyboardInterrupt,)")); }, "KeyboardInterrupt: \xc3\xa4"},
      {[&] { invoke(fail); }, "TypeError: fail() takes exactly 1 argument (0 given)"},
      {[&] { getModule("broken"); }, "SyntaxError: invalid syntax"},
      {[&] { getField<int>(main, "none"); },
       "AttributeError: 'module' object has no attribute 'none'"},
      {[&] { setError(20, "of the host"); }, "ValueError: of the host"},
      {[&] { invoke(getFunction(main, "stop")); }, "StopIteration"},
      {[&] { invoke(fail, tupleOf("(Failure,)")); }, "Failure: \xc3\xa4"},
  };
  Object told;
  for (const auto &[act, expected] : cases) {
    act();
    ASSERT_TRUE(errorOccurred());
    told = read<Object>(invoke(describe), kWrapperAccessors[1]);
    EXPECT_FALSE(errorOccurred());
    EXPECT_EQ(get<std::string>(told, "text"), expected);
    EXPECT_TRUE(get<std::string>(told, "traceback").ends_with(expected + "\n"));
    EXPECT_TRUE(get<bool>(told, "pending"));
    told = read<Object>(invoke(describe), kWrapperAccessors[1]);
    EXPECT_EQ(get<std::string>(told, "text"), expected) << "an old story";
    EXPECT_FALSE(get<bool>(told, "pending"));
    act();
    EXPECT_EQ(read<std::string>(invoke(line), {"StringValue", "String"}), expected);
    EXPECT_FALSE(errorOccurred());
    EXPECT_EQ(answer(invoke(line)), "''");
  }
  EXPECT_EQ(get<std::string>(told, "traceback"), "Traceback (most recent call last):\n"
                                                 "  File \"<string>\", line 4, in fail\n"
                                                 "Failure: \xc3\xa4\n");

  // Such an error does not get into the way of a call.
  const Object list = tupleOf("('[i for i in (1,)]',)");
  invoke(fail, tupleOf("(Failure,)"));
  EXPECT_EQ(answer(invoke(evaluate, list)), "(1L,)");
}

TEST_F(QuillixModuleTest, callsWithEverything) {
  play(R"py(
def f(*a, **k): return a, k
write('broken.py', 'import missing'); insert_path(folder)
made = create('list')
call('__main__.f', (1, 'a', 2.5, True), {'k': 'v'}) => ((1L, 'a', 2.5, True), {'k': 'v'})
call('json.dumps', [{'a': 1}], {'indent': 1}) => '{\n "a": 1\n}'
call('xml.sax.saxutils.escape', ('<',)) => '&lt;'
call('len', ('abc',)), call('str.upper', ('abc',)) => (3L, 'ABC')
call('__main__.f', ('quillix.objects.None', 'quillix.objects.x')) => ((None, 'quillix.objects.x'), {})
call_unicode('repr', (('\xc3\xa4', 1),)) => "(u'\\xe4', 1)"
call_unicode('repr', (), {'k': 'v'}) => !TypeError: repr() takes no keyword arguments
call_unicode(made + '.append', ('a',)) => None
call_unicode('operator.iadd', (made, ('b',))) => ('a', 'b')
represent(made) => "[u'a', u'b']"
call('nowhere') => !LookupError: there is no module or built-in 'nowhere'
call('json.nothing') => !AttributeError: there is no json.nothing
call('quillix.objects.99') => !LookupError: quillix.objects.99 is not kept
call('') => !ValueError: Empty module name
call('broken') => !ImportError: No module named missing
wrap('sys.path') => !TypeError: list cannot be called
call() => !TypeError: call() takes at least 1 argument (0 given)
)py");
  for (const std::string function : {"call", "call_unicode", "create", "run_script"})
    EXPECT_EQ(ask(function + "('len', 'abc')"),
              "!TypeError: arguments are given in a tuple or list");
  EXPECT_TRUE(ask("call_unicode('len', ('\\xff',))").starts_with("!UnicodeDecodeError:"));
}

// Every road on which the object itself, not a copy of it, is reached.
// A text from elsewhere may look like the name of a kept object.
TEST_F(QuillixModuleTest, leavesTextsAsTheyAre) {
  play(R"py(
name = keep([1])
class Thing(object): pass
thing = create('__main__.Thing')
same = sys.modules[wrap('repr')]
literally = sys.modules[wrap('repr', True)]
call('repr', (name,)), call('repr', (name,), None, True) == repr(name) => ('[1]', True)
same.invoke(name), literally.invoke(name) == repr(name) => ('[1]', True)
call('dict', (), {'a': name}, True) == {'a': name} => True
call_unicode('repr', ([name],), None, True) == repr([unicode(name)]) => True
get_item(create('list', ((name,),), None, True), 0) == name => True
set_attribute(thing, 'a', name), get_attribute(thing, 'a') => (None, (1L,))
set_attribute(thing, 'a', name, True), get_attribute(thing, 'a') == name => (None, True)
made = create('dict')
set_item(made, name, name, True), value(made) == {name: name} => (None, True)
call('repr', ('quillix.objects.999',)) => !LookupError: quillix.objects.999 is not kept
call('repr', ('quillix.objects.999',), None, True) => "'quillix.objects.999'"
)py");
}

TEST_F(QuillixModuleTest, saysWhyAModuleIsNotLoaded) {
  play(R"py(
write('broken_here.py', 'x = 1\ndef f(:')
write('raising.py', 'import jason'); insert_path(folder)
load('xml.dom') => 'xml.dom'
load('jason') => !ImportError: No module named jason
load('raising') => !ImportError: No module named jason
load('broken_here') => !SyntaxError: invalid syntax
os.path.basename(last_error()['file']), last_error()['line'] => ('broken_here.py', 2L)
)py");
  EXPECT_TRUE(getModule("xml.dom"));
}

TEST_F(QuillixModuleTest, runsJobs) {
  attachConsole();
  play(R"py(
import thread, threading, time
main, heard = thread.get_ident(), []
def hear(text): heard.append((text, thread.get_ident() == main))
redirect_errors('__main__.hear') => None
before = sys.stdout, sys.stderr
def work(count, last='end'):
  for i in range(count):
    checkpoint(i + 1, count, 'step %d' % i)
    print i,
    sys.stderr.write('e')
    time.sleep(0.001)
  checkpoint(text=last)
  return [count, u'\xe4', thread.get_ident() == main]
def fail(): return {}['melon']
def stubborn():
  checkpoint(text='begun')
  while True:
    try:
      while True: pass
    except Exception: pass
def begun(job):
  while told(job, 1)[3] != 'begun': pass
  return job
def patient():
  while True: checkpoint(); time.sleep(0.001)
def told(job, time=0):
  answer = poll_job(job, time)
  return [answer[key] for key in ('state', 'done', 'total', 'text')]

checkpoint(1, 2, 'outside') => None
job = start_job('__main__.work', (3,), {'last': 'over'})
sys.stdout is before[0] => False
told(job, 5000) => ['done', 3.0, 3.0, 'over']
heard => [('e', True), ('e', True), ('e', True)]
job_result(job), call(job_result_object(job) + '.pop') => ((3L, '\xc3\xa4', False), False)

failed = start_job('__main__.fail')
told(failed, 5000) => ['failed', 0.0, 0.0, '']
job_result(failed) => !KeyError: 'melon'
'in fail\n' in last_error()['traceback'] => True
start_job('__main__.nothing') => !AttributeError: there is no __main__.nothing
poll_job('quillix.objects.None') => !TypeError: quillix.objects.None is no job
poll_job(failed, 'x') => !TypeError: unsupported operand type(s) for /: 'str' and 'float'

gentle = start_job('__main__.patient')
told(gentle, 5) => ['running', 0.0, 0.0, '']
job_result(gentle) => !RuntimeError: the job is still running
cancel_job(gentle), told(gentle, 5000)[0], cancel_job(gentle) => (None, 'cancelled', None)
job_result(gentle) => !Cancelled: the job was cancelled
hard = begun(start_job('__main__.stubborn'))
cancel_job(hard), told(hard, 20)[0] => (None, 'running')
cancel_job(hard, True), told(hard, 5000)[0] => (None, 'cancelled')
job_result(hard) => !Cancelled

# A call into C is waited for.
asleep, many = start_job('time.sleep', (0.5,)), [start_job('__main__.stubborn') for i in range(5)]
told(asleep, 20)[0] => 'running'
end_jobs(1) > 0 => True
end_jobs(5000), threading.active_count(), thread._count() => (0L, 1, 0)
set([told(each)[0] for each in many]), told(asleep)[0] in ('done', 'cancelled') => (set(['cancelled']), True)
(sys.stdout, sys.stderr) == before => True

# What a job was given goes where it came from.
class Given(object):
  def __del__(self): places.append(thread.get_ident() == main)
places = []
for i in range(20):
  holder = create('__main__.Given')
  job = start_job('__main__.work', (0, holder))
  release(job, holder)
  poll_job(start_job('time.sleep', (0.002,)), 100)
  release()
end_jobs(1000), set(places), len(places) => (0L, set([True]), 20)
)py");
  EXPECT_EQ(heard(), "0| |1| |2|");
}

// A job that is still running is ended before Python is.
TEST_F(QuillixModuleTest, endsJobsWithPython) {
  for (int life = 0; life < 5; ++life) {
    attachConsole();
    play(R"py(
def stubborn():
  print 'began'
  checkpoint(text='begun')
  while True: pass
job = start_job('__main__.stubborn')
while poll_job(job, 1)['text'] != 'begun': pass
)py");
    finalize();
    init();
    find();
  }
  const std::string text = heard();
  EXPECT_EQ(std::count(text.begin(), text.end(), 'b'), 5) << text;
}

TEST_F(QuillixModuleTest, keepsObjects) {
  play(R"py(
class Account(object):
  def __init__(self, owner, balance=0): self.owner, self.balance = owner, balance
  def pay(self, amount): self.balance += amount; return self.balance
name = create('__main__.Account', ('Ada',), {'balance': 5})
)py");
  const std::string name = text("name");
  const Object account = getModule(name);
  ASSERT_TRUE(account);
  setField(account, "balance", 7);
  EXPECT_EQ(getField<std::string>(account, "owner"), "Ada");
  EXPECT_EQ(answer(invoke(getFunction(account, "pay"), tupleOf("(3,)"))), "10L");
  const Object instance = createInstance(getClass(getModule("quillix.objects"), name));
  EXPECT_EQ(getField<int>(instance, "balance"), 10);
  play(R"py(
call(name + '.pay', (5,)), call('__main__.Account.pay', (name, 5)) => (15L, 20L)
type_name(name), set_attribute(name, 'owner', unicode_object('\xc3\xa4')) => ('__main__.Account', None)
get_attribute(name, 'owner') => '\xc3\xa4'
)py");
  EXPECT_EQ(getField<std::string>(account, "owner"), "") << "unicode";

  play(R"py(
made = create('list', (['a'],))
call(made + '.append', (name,))
same = get_item_object(made, -1)
sys.modules[same] is sys.modules[name] => True
sys.modules[get_attribute_object(name, '__class__')] is Account => True
set_attribute(name, '__class__.bank', 'B'), Account.bank => (None, 'B')
get_attribute(name, 'missing') => !AttributeError: 'Account' object has no attribute 'missing'
get_attribute('os.path', 'extsep'), get_item(made, 0) => ('.', 'a')
set_item(made, 0, integer_object('123456789012345678901')), delete_item(made, 1) => (None, None)
get_item(made, 0), text(made) => ('123456789012345678901', '[123456789012345678901L]')
get_item(made, 1) => !IndexError: list index out of range
kept()[0] == name => True
release(name, same, 'nonsense', 'quillix.objects.None') => 2L
)py");
  EXPECT_FALSE(getModule(name));
  EXPECT_EQ(getError(), "No module named " + name.substr(name.rfind('.') + 1));
}

TEST_F(QuillixModuleTest, letsGoOfObjects) {
  play(R"py(
gone = []
class Thing(object):
  def __init__(self, name='plain'): self.name = name
  def __del__(self): gone.append(self.name)
create('__main__.Thing')
)py");
  const Object module = getModule(text("create('__main__.Thing', ('held',))"));
  const Object thing = host::create("Object"), arguments = newParameters(1);
  put(arguments, 0, thing);
  const Object kept = invoke(function("keep"), arguments);
  put(arguments, 0, read<std::string>(kept, {"StringValue", "String"}));
  EXPECT_EQ(thing.locks(), 2U);
  EXPECT_EQ(read<Object>(invoke(function("value"), arguments), {"ObjectValue", "Object"}), thing);
  EXPECT_EQ(ask("release()"), "3L");
  EXPECT_EQ(thing.locks(), 1U);
  EXPECT_EQ(ask("kept(), gone"), "((), ['plain'])");
  EXPECT_EQ(getField<std::string>(module, "name"), "held") << "the wrapper keeps it";

  // What nothing but an entity holds can be kept; reloading loses nothing.
  const Object list = newList();
  append(list, entityOf("Thing('boxed')"));
  const std::string boxed =
      read<std::string>(invoke(function("keep"), asTuple(list)), {"StringValue", "String"});
  EXPECT_EQ(getField<std::string>(getModule(boxed), "name"), "boxed");
  EXPECT_TRUE(getModule("quillix").call<bool>("Reload() as Boolean"));
  EXPECT_EQ(ask("get_attribute('" + boxed + "', 'name')"), "'boxed'");
  EXPECT_EQ(ask("create('list') == kept()[-1]"), "True") << "a new name";
}

TEST_F(QuillixModuleTest, readsValues) {
  play(R"py(# coding: utf-8
import collections, datetime, decimal
class Number(int):
  def __long__(self): return 1 / 0
class Text(str):
  def __str__(self): return 'other'
class Real(float):
  def __str__(self): return 'other'
class Mute(object):
  def __repr__(self): raise ValueError
class Word(object):
  def __unicode__(self): return u'ä'
  def __str__(self): return unicode(self)
class Key(dict): __hash__ = lambda self: 1
ring = [1]; ring.append(ring)
knot = {}; knot['k'] = [knot]
deep = []
for i in range(10 ** 4): deep = [deep]
value((5, -2 ** 63, 2 ** 64 - 1)) => (5L, -9223372036854775808L, 18446744073709551615L)
value((2 ** 64, -2 ** 63 - 1)) => ('18446744073709551616', '-9223372036854775809')
value((True, None, -0.0, '\xff\0')) => (True, None, -0.0, '\xff\x00')
value(u'\xe4\u20ac') => '\xc3\xa4\xe2\x82\xac'
value((bytearray('ab'), buffer('cd'), memoryview('ef'))) => ('ab', 'cd', 'ef')
value([1, [2], {3}, frozenset([4])]) => (1L, (2L,), (3L,), (4L,))
value([{u'k': {1: [2L]}}, {(1, u'b'): None}]) => ({'k': {1L: (2L,)}}, {(1L, 'b'): None})
value((collections.OrderedDict(a=1), collections.namedtuple('P', 'x')(1))) => ({'a': 1L}, (1L,))
value((decimal.Decimal('1.50'), datetime.date(2020, 1, 2))) => ('1.50', '2020-01-02')
value((Text('own'), Word(), Mute())) => ('own', '\xc3\xa4', '<__main__.Mute>')
map(type, value((Text('own'), Real(2.5)))) => [<type 'str'>, <type 'float'>]
value((ring, knot)) => ((1L, '[...]'), {'k': ('{...}',)})
value([ring[:1], ring[:1], {Key(): 1}]) => ((1L,), (1L,), {'{}': 1L})
value(Number(5)) => 5L
text(evaluate_object('Word()', '__main__')), text(ring) => ('\xc3\xa4', '[1, [...]]')
represent('a\xc3\xa4') => "'a\\xc3\\xa4'"
represent(Mute()) => !ValueError
type_name(5), type_name(create('collections.OrderedDict')) => ('int', 'collections.OrderedDict')
integer_object('g', 16) => !ValueError: invalid literal for long() with base 16: 'g'
text(integer_object('ff', 16)), value(unicode_object('\xe4', 'latin-1')) => ('255', '\xc3\xa4')
)py");
  EXPECT_TRUE(ask("value(deep)").starts_with("!RuntimeError: maximum recursion depth exceeded"));
}

TEST_F(QuillixModuleTest, iteratesInBatches) {
  play(R"py(
import itertools
def failing():
  yield 1
  yield u'\xe4'
  raise ValueError('third')
numbers, failed, letters = map(iterate, [itertools.count(), failing(), 'ab'])
next_items(numbers, 3), next_items(numbers, 2), len(next_items(numbers)) => ((0L, 1L, 2L), (3L, 4L), 100)
next_items(numbers, 0) => !ValueError: a batch has at least one item
next_items(failed, 5) => (1L, '\xc3\xa4')
next_items(failed, 5) => !ValueError: third
'in failing' in last_error()['traceback'] => True
failed in kept(), next_items(failed, 5), failed in kept() => (True, (), False)
map(text, next_objects(letters, 5)), next_objects(letters, 5) => (['a', 'b'], ())
next_items('quillix.objects.99', 5) => !LookupError: quillix.objects.99 is not kept
iterate(5) => !TypeError: 'int' object is not iterable
next_items('ab') => !TypeError: ab is not from iterate()
)py");
}

TEST_F(QuillixModuleTest, runsSource) {
  play(R"py(
name = execute('x = 5\r\ndef f(): return u"\xc3\xa4", __name__\r\nclass C(object): size = 3')
names, made = {'a': 2}, create('dict')
)py");
  const Object module = getModule(text("name"));
  EXPECT_EQ(getField<int>(module, "x"), 5);
  EXPECT_EQ(getField<int>(createInstance(getClass(module, "C")), "size"), 3);
  play(R"py(
call(name + '.f') == ('\xc3\xa4', name) => True
evaluate(' [x + i for i in range(2)]\n', name) => (5L, 6L)
execute('x += 1', name) == name, evaluate('x', name) => (True, 6L)
evaluate('__name__', 'json'), evaluate(u'u"\xe4"') => ('json', '\xc3\xa4')
evaluate('m.x, max(a, 2), list(m.x for i in [1])', {'m': name, 'a': 3}) => (6L, 3L, (6L,))
evaluate('x') => !NameError: name 'x' is not defined
execute('b = a * 3', names), names['b'] => (None, 6)
execute('y = 1', made) == made, evaluate('y', made) => (True, 1L)
before = kept()
execute('1 / 0') => !ZeroDivisionError: integer division or modulo by zero
execute('# coding: nonsense') => !SyntaxError: unknown encoding: nonsense
execute('raise SystemExit') => !SystemExit
execute('x = 1\0') => !TypeError: compile() expected string without null bytes
kept() == before => True
execute('# coding: latin-1\nx = u"\xe4"', name) == name, evaluate('x', name) => (True, '\xc3\xa4')
)py");

  // The source stands in tracebacks, also later, of the last sources at least.
  play(R"py(# coding: utf-8
execute('def late():\n  raise ValueError("\xc3\xa4")', name) == name => True
call(name + '.late') => !ValueError: ä
'    raise ValueError("\xc3\xa4")\n' in last_error()['traceback'] => True
for i in range(40): evaluate('1')
call(name + '.late') => !ValueError: ä
'    raise' in last_error()['traceback'] => False
)py");
}

TEST_F(QuillixModuleTest, runsFiles) {
  attachConsole();
  play(R"py(
write('latin.py', '# coding: latin-1\nword = u"\xe4"\ndef fail(): raise ValueError(u"\xe4") # \xe4')
name = execute_file(path('latin.py'))
evaluate('word, __file__', name) == ('\xc3\xa4', path('latin.py')) => True
call(name + '.fail') => !ValueError: ä
'raise ValueError(u"\xc3\xa4") # \xc3\xa4\n' in last_error()['traceback'] => True
last_error()['file'] == path('latin.py') => True
execute_file('/none.py') => !IOError: [Errno 2] No such file or directory: '/none.py'
write('helper.py', 'value = "helped"')
write('script.py', '''import sys, helper
if __name__ == '__main__': print helper.value, sys.argv[1:]
sys.path.append('/left behind')
sys.exit(eval(sys.argv[1]))''')
script = path('script.py')
def state(): return list(sys.path), sys.modules['__main__'], hasattr(sys, 'argv')
before = state()
run_script(script, ('7',)), run_script(script, ('None',)), before == state() => (7L, 0L, True)
run_script(script, ['1/0']) => !ZeroDivisionError: integer division or modulo by zero
run_script('/none.py') => !IOError: [Errno 2] No such file or directory: '/none.py'
before == state() => True
set_arguments(('program', '\xc3\xa4')), redirect_errors() => (None, None)
run_script(script, ('"enough"',)) => 1L
sys.argv => ['program', '\xc3\xa4']
)py");
  EXPECT_EQ(heard(), "helped| |['7']|\n|helped| |['None']|\n|helped| |['1/0']|\n|"
                     "helped| |['\"enough\"']|\n|enough\n|");
}

TEST_F(QuillixModuleTest, redirectsStreams) {
  attachConsole();
  play(R"py(
import warnings
before = sys.stdin, sys.stdout, sys.stderr
def refused(f, *a):
  try: f(*a)
  except Exception as e: return type(e).__name__
redirect_output(), redirect_errors() => (None, None)
print u'\xe4', 5,
print
sys.stdout.writelines(['a', u'b'])
sys.stdout.write('nul\0')
sys.stdout.flush()
sys.stdout.encoding, sys.stdout.isatty() => ('UTF-8', False)
refused(sys.stdout.write, 5), refused(sys.stdout.fileno) => ('TypeError', 'UnsupportedOperation')
)py");
  EXPECT_EQ(heard(), "\xc3\xa4| |5|\n|a|b|nul\xe2\x90\x80|");
  play("warnings.warn('careful')");
  EXPECT_NE(heard().find("UserWarning: careful"), std::string::npos);
  play(R"py(
heard, lines = [], ['first', 'second\n', '', u'4\n5']
def next_line(): return lines.pop(0) if lines else None
redirect_output(heard.append), redirect_input('__main__.next_line') => (None, None)
print u'\xe4'
heard, raw_input() => (['\xc3\xa4', '\n'], 'first')
sys.stdin.readline(3), sys.stdin.readline(), sys.stdin.readline() => ('sec', 'ond\n', '\n')
sys.stdin.read(1), list(sys.stdin) => ('4', ['\n', '5\n'])
sys.stdin.read(), refused(raw_input) => ('', 'EOFError')
redirect_input('time.time')
call('raw_input') => !TypeError: a line of input is a text, not float
redirect_output('sys.none') => !AttributeError: there is no sys.none
redirect_errors('sys.path') => !TypeError: list cannot be called
restore_streams(), restore_streams() => (None, None)
before == (sys.stdin, sys.stdout, sys.stderr) => True
)py");
  EXPECT_EQ(heard(), "");
}

TEST_F(QuillixModuleTest, entersVirtualEnvironments) {
  play(R"py(
windows = os.name == 'nt'
packages = 'Lib/site-packages' if windows else 'lib/python2.7/site-packages'
programs = 'Scripts' if windows else 'bin'
write('plain/%s/inside.py' % packages, ''), write('extra/file', '')
write('plain/%s/more.pth' % packages, path('extra') + '\n')
write('scripted/bin/activate_this.py', '''import os, sys
sys.real_prefix, sys.prefix = sys.prefix, os.path.dirname(__file__)
sys.path.insert(0, '/scripted')''')
write('broken/bin/activate_this.py', "import sys; sys.prefix = '/no'; sys.path[:] = []; 1/0")
write('modern/lib/python3.9/site-packages/file', '')
os.environ['PYTHONHOME'] = '/python'
def state(): return sys.path[:], sys.prefix, sys.exec_prefix, dict(os.environ)
before, plain = state(), path('plain')
deactivate() => False
for repeated in range(2):
  assert activate(plain + os.sep) == plain == python_info()['environment']
  assert (sys.prefix, sys.real_prefix) == (plain, before[1])
  assert map(os.path.normpath, sys.path[:2]) == [os.path.normpath(path('plain/' + packages)), path('extra')]
  assert sorted(sys.path[2:]) == sorted(before[0])
  assert os.environ['VIRTUAL_ENV'] == plain and 'PYTHONHOME' not in os.environ
  assert os.environ['PATH'].startswith(os.path.join(plain, programs) + os.pathsep)
import inside
inside.__file__.startswith(plain) => True
during = state()
activate('/none') => !ValueError: /none is no virtual environment for python2.7
for name, refused in ('modern', 'ValueError'), ('broken', 'ZeroDivisionError'):
  try: activate(path(name))
  except Error as e: assert str(e).startswith(refused + ': '), e
state() == during, python_info()['environment'] == plain => (True, True)
activate(path('scripted')) == path('scripted'), os.path.normpath(sys.prefix) == os.path.normpath(path('scripted/bin')) => (True, True)
sys.path == ['/scripted'] + before[0] => True
deactivate(), python_info()['environment'] => (True, '')
state() == before, hasattr(sys, 'real_prefix') => (True, False)
)py");
}

// Each interpreter has a module of its own, which raises errors as the first one's did.
TEST_F(QuillixModuleTest, worksAfterARestart) {
  for (int life = 0; life < 5; ++life) {
    play(R"py(
class Thing(object):
  def __del__(self): print 'gone'
def last(): print >> sys.stderr, u'\xe4'
atexit.register(last)
kept() => ()
evaluate('1 / 0') => !ZeroDivisionError: integer division or modulo by zero
create('__main__.Thing') => 'quillix.objects.1'
redirect_output(), redirect_errors() => (None, None)
)py");
    attachConsole();
    finalize();
    EXPECT_EQ(heard(), "\xc3\xa4|\n|gone|\n|");
    init();
    find();
  }
}

TEST_F(QuillixModuleTest, describesPython) {
  play(R"py(
info = python_info()
info['version'][:4], info['version_info'][:2] => ('2.7.', (2L, 7L))
info['support'], 2 ** (info['bits'] - 1) - 1 == sys.maxsize => ('1.0.0', True)
info['path'] == tuple(sys.path) => True
insert_path('/first'), insert_path('/first'), sys.path[0], sys.path.count('/first') => (None, None, '/first', 1)
import quillix
public = set(name for name, f in vars(quillix).items()
             if name[0] != '_' and getattr(f, '__module__', '') == 'quillix')
public.symmetric_difference(quillix.__all__) => set([])
[name for name in quillix.__all__ if not getattr(quillix, name).__doc__] => []
)py");
}

// What the values' own classes would make of it does not count, nor how often a container is met.
TEST_F(QuillixModuleTest, readsValuesOfOddClasses) {
  play(R"py(
import collections
class U(unicode): pass
class S(str):
  __str__ = lambda self: 1 / 0
class Spoken(object):
  __unicode__ = lambda self: U(u'\xe4')
  __str__ = lambda self: 1 / 0
class Written(object): __str__ = lambda self: S('s')
class PyCapsule(object): __repr__ = lambda self: 'no capsule'
class Long(long): __long__ = lambda self: 1 / 0
class Bytes(bytearray): __str__ = lambda self: 1 / 0
class Items(list): pass
Point = collections.namedtuple('Point', 'x y')
diamond = circle = []
for i in range(60): diamond = [diamond, {1: diamond}]
circle.append(diamond)
def depth(v): return 1 + depth(v[0]) if v and v[0] != '[...]' else 0
def echo(*given): return map(repr, given)
map(lambda given: type(given()), [lambda: text(Spoken()), lambda: value(Spoken()), lambda: text(Written())]) == [str] * 3 => True
text(Spoken()), text(Written()), text(U(u'\xe4')) => ('\xc3\xa4', 's', '\xc3\xa4')
value([PyCapsule(), Long(7), Long(2 ** 65), Bytes('b')]) => ('no capsule', 7L, '36893488147419103232', 'b')
depth(value(diamond)), depth(call('copy.copy', (diamond,))) => (60, 61)
call_unicode('__main__.echo', (Point('x', ('y',)), Items('z'))) => ("Point(x=u'x', y=(u'y',))", "[u'z']")
call_unicode('len', (diamond,)), call_unicode('type', (Items(),)) => (2L, "<class '__main__.Items'>")
)py");
}

// An item that cannot be read is an error in its place, and the module may be reloaded meanwhile.
TEST_F(QuillixModuleTest, iteratesOnBehindAFailure) {
  play(R"py(
import quillix
class Bad(dict): items = lambda self: 1 / 0
name = iterate([1, Bad(), 3, 4])
next_items(name) => (1L,)
next_items(name) => !ZeroDivisionError: integer division or modulo by zero
next_items(name, 1) => (3L,)
reload(quillix).Error is Error, quillix.last_error()['class'] => (True, 'ZeroDivisionError')
quillix.next_items(name), quillix.next_items(name) => ((4L,), ())
)py");
}

TEST_F(QuillixModuleTest, leavesWhatCameAfterActivation) {
  play(R"py(
packages = 'env/lib/python2.7/site-packages/'
write(packages + 'inside.py', ''); write('program/__main__.py', 'import sys; sys.exit(path in sys.path)')
write('program/path.py', '')
before, programs = list(sys.path), os.environ['PATH']
environment = activate(path('env'))
inside = os.path.normpath(path(packages))
sys.path.append('later'); sys.path.insert(0, 'first'); os.environ['PATH'] += os.pathsep + 'later'
map(os.path.normpath, sys.path[:2]) == ['first', inside] => True
deactivate() => True
sys.path == ['first'] + before + ['later'] => True
os.environ['PATH'] == programs + os.pathsep + 'later' => True
os.environ['PATH'], sys.path[:] = programs, before
write('program/__main__.py', 'import sys; print len([1 for folder in sys.path if folder.startswith(%r)])' % folder)
)py");
  attachConsole();
  EXPECT_EQ(ask("run_script(path('program'))"), "0L");
  EXPECT_EQ(heard(), "1|\n|") << "the folder itself, not the one around it";
}

// Every type at the edges of every other, in both orders, held against what the type can hold.
TEST_F(QuillixModuleTest, turnsNumbersIntoBytesAndBack) {
  play(R"py(
import array, ctypes, itertools, struct, sys, types
edges = [s * (2 ** bits + d) for bits in (7, 8, 15, 16, 31, 32, 63, 64) for d in (-1, 0, 1) for s in (-1, 1)]
odd = [0, True, 1.5, 1e300, float('inf'), 'x', None, 2 ** 2000, [1]]
kinds = 'double single int8 uint8 int16 uint16 int32 uint32 int64 uint64'.split()
def holds(kind, n):
  if kind in ('double', 'single'):
    return isinstance(n, (int, long, float)) and (n == float('inf') or abs(n) < (3e38 if kind == 'single' else 2 ** 1000))
  bits = int(kind.strip('uint'))
  return isinstance(n, (int, long)) and (0 <= n < 2 ** bits if kind[0] == 'u' else -2 ** bits <= 2 * n < 2 ** bits)
def same(kind, n, order):
  try: data = pack([n], kind, order)
  except Error as error: return not holds(kind, n) and 'item 0 is no ' + kind in str(error)
  back, = unpack(data, kind, order)
  rounded = {'double': float, 'single': lambda n: struct.unpack('<f', struct.pack('<f', n))[0]}.get(kind, long)
  return holds(kind, n) and back == rounded(n) and data == pack([n], kind)[::1 if order == 'little' else -1]
[(k, n, o) for k in kinds for n in edges + odd for o in ('little', 'Big') if not same(k, n, o)] => []
pack((1, 2), 'Int16'), pack(iter([1, 2]), 'int16', 'big'), pack([], 'double') => ('\x01\x00\x02\x00', '\x00\x01\x00\x02', '')
many = [n * 7 % 60000 for n in xrange(10001)]
[k for k in kinds[4:] + kinds[:2] for o in ('little', 'big') if k != 'int16' and unpack(pack(many, k, o), k, o) != many] => []
pack(many[:9000] + ['x'], 'int64') => !ValueError: item 9000 is no int64: 'x'
data = pack(many, 'uint16')
[unpack(kind(data), 'uint16') == many for kind in (str, bytearray, buffer, memoryview)] => [True, True, True, True]
unpack(data[:-1], 'uint16') => !ValueError: 20001 bytes are no whole number of uint16, which have 2
unpack(u'ab', 'int8') => !TypeError: numbers are read from a str, not from unicode
unpack('', 'int') => !ValueError: numbers are double, int16, int32, int64, int8, single, uint16, uint32, uint64, uint8; their order little or big
unpack('', 'int8', 'middle') => !ValueError: numbers are double, int16, int32, int64, int8, single, uint16, uint32, uint64, uint8; their order little or big
unpack('', 'int8', 'big', 'set') => !ValueError: numbers are put into a list, array or numpy
shorts = unpack(data, 'uint16', 'little', 'array')
type(shorts).__name__, shorts.tolist() == many, pack(shorts, 'uint16') == data => ('array', True, True)
swapped = unpack(data, 'uint16', 'big', 'array')
pack(swapped, 'uint16', 'big') == data, swapped[1], many[1], pack(shorts, 'uint32') == pack(many, 'uint32') => (True, 1792, 7, True)
name = unpack_object(data, 'uint16', into='array')
call('sum', (name,)) == sum(many), pack(name, 'uint16') == data, release(name) => (True, True, 1L)
has = array.array('l').itemsize == 8
try: made = unpack(data[:8], 'int64', into='array')
except Error as error: made = str(error)
made == (array.array('l', data[:8]) if has else 'ValueError: array.array has no int64 here; a list has') => True
# Memory of the host's own, in place.
memory = (ctypes.c_double * 3)(1.5, 2.5, 3.5)
there = at_address(ctypes.addressof(memory), 'double', 2)
)py");
  play(R"py(
there[1] = 7
list(there), memory[1], pack(there, 'double') == pack([1.5, 7], 'double') => ([1.5, 7.0], 7.0, True)
name = at_address_object(ctypes.addressof(memory), 'uint8', 24)
call('len', (name,)), release(name), at_address(ctypes.addressof(memory), 'int64', 1)[0] == struct.unpack('q', struct.pack('d', 1.5))[0] => (24L, 1L, True)
at_address(0, 'double', 2) => !ValueError: 2 numbers at address 0
at_address(5, 'double', -1) => !ValueError: -1 numbers at address 5
unpack('', 'double', into='numpy') => !ImportError: No module named numpy
# What is asked of NumPy, which the tests have not.
class Kind(object):
  def __init__(self, name): self.str = name
  def newbyteorder(self, order): return Kind(order + self.str[1:])
class Numbers(object):
  def __init__(self, data, dtype): self.data, self.dtype = data, Kind(dtype)
  def astype(self, kind): return Numbers(self.data, kind.str)
  def tostring(self): return self.data
  def tolist(self): return [1, 2]
sys.modules['numpy'] = types.ModuleType('numpy')
sys.modules['numpy'].frombuffer = lambda data, dtype: Numbers(data, dtype)
made = unpack('12345678', 'double', 'big', 'numpy')
made.dtype.str, made.data, pack(Numbers('raw', '>f4'), 'single', 'big'), pack(made, 'int8'), pack(Numbers('r', '|i1'), 'int8') => ('=f8', '12345678', 'raw', '\x01\x02', 'r')
del sys.modules['numpy']
)py");
}

} // namespace
