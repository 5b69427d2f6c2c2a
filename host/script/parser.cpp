#include "host/script/script.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace script {
namespace {

using Kind = Expression::Kind;

// Beyond what a program needs, and far from the end of the stack.
constexpr int kDeepest = 100;  // expressions and blocks within each other
constexpr int kLongest = 1000; // operands or members in a row

// --- words ---------------------------------------------------------------------------------------

struct Token {
  enum class Kind { Word, Number, Text, Symbol, LineEnd, End };
  Kind kind;
  std::string text;
  int line;
};

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool isWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

class Lexer {
public:
  explicit Lexer(std::string_view source) : rest_(source) {}

  std::vector<Token> tokens() {
    while (!rest_.empty())
      next();
    add(Token::Kind::LineEnd, "end of line");
    add(Token::Kind::End, "end of file");
    return std::move(tokens_);
  }

private:
  void next() {
    const char c = rest_.front();
    if (c == '\n')
      endLine();
    else if (c == ' ' || c == '\t' || c == '\r')
      rest_.remove_prefix(1);
    else if (c == '\'' || rest_.starts_with("//") || same(rest_.substr(0, 8), "#Pragma "))
      skipLine(); // what a pragma asks of the compiler does not matter here
    else if (c == '"')
      text();
    else if (isDigit(c) || (c == '.' && rest_.size() > 1 && isDigit(rest_[1]) && !isBehindName()))
      number();
    else if (c == '&')
      hexNumber();
    else if (isWord(c))
      word();
    else
      symbol();
  }

  void add(Token::Kind kind, std::string text) {
    tokens_.push_back({kind, std::move(text), line_});
  }
  std::string take(std::size_t length) {
    std::string taken(rest_.substr(0, length));
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::size_t lengthOf(bool (*belongs)(char), std::size_t from = 0) const {
    while (from < rest_.size() && belongs(rest_[from]))
      ++from;
    return from;
  }
  bool isBehindName() const {
    return !tokens_.empty() &&
           (tokens_.back().kind == Token::Kind::Word || tokens_.back().text == ")");
  }
  void skipLine() { take(std::min(rest_.find('\n'), rest_.size())); }

  void endLine() {
    add(Token::Kind::LineEnd, "end of line");
    take(1);
    ++line_;
  }

  void text() {
    std::string value;
    take(1);
    for (;;) {
      const std::size_t end = rest_.find_first_of("\"\n");
      if (end == std::string_view::npos || rest_[end] == '\n')
        throw Error("the text does not end", line_);
      value += take(end);
      take(1);
      if (!rest_.starts_with('"'))
        break;
      value += take(1); // two stand for one
    }
    add(Token::Kind::Text, value);
  }

  void number() {
    std::size_t length = lengthOf(isDigit);
    if (length + 1 < rest_.size() && rest_[length] == '.' && isDigit(rest_[length + 1]))
      length = lengthOf(isDigit, length + 1);
    if (length < rest_.size() && (rest_[length] == 'e' || rest_[length] == 'E')) {
      std::size_t exponent = length + 1;
      if (exponent < rest_.size() && (rest_[exponent] == '-' || rest_[exponent] == '+'))
        ++exponent;
      if (exponent < rest_.size() && isDigit(rest_[exponent]))
        length = lengthOf(isDigit, exponent);
    }
    add(Token::Kind::Number, take(length));
  }

  void hexNumber() { // &hFF
    take(1);
    const std::string digits = take(lengthOf(isWord));
    std::uint64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const bool isHex = digits.starts_with('h') || digits.starts_with('H');
    const auto [stop, fault] = std::from_chars(digits.data() + isHex, end, value, 16);
    if (!isHex || stop != end || fault != std::errc())
      throw Error("\"&" + digits + "\" is no number", line_);
    add(Token::Kind::Number, std::to_string(static_cast<std::int64_t>(value)));
  }

  void word() {
    const std::string name = take(lengthOf(isWord));
    const std::size_t end = std::min(rest_.find_first_not_of(" \t\r"), rest_.size());
    if (same(name, "Rem"))
      skipLine();
    else if (name != "_")
      add(Token::Kind::Word, name);
    else if (end == rest_.size() || rest_[end] == '\n' || rest_[end] == '\'') {
      skipLine(); // the line goes on below
      take(1);
      ++line_;
    } else
      throw Error("only a comment may follow \"_\"", line_);
  }

  void symbol() {
    for (const char *two : {"<=", ">=", "<>", "+=", "-="})
      if (rest_.starts_with(two))
        return add(Token::Kind::Symbol, take(2));
    if (std::string_view("(),.+-*/\\^=<>").find(rest_.front()) == std::string_view::npos)
      throw Error("\"" + take(1) + "\" has no meaning here", line_);
    add(Token::Kind::Symbol, take(1));
  }

  std::string_view rest_;
  std::vector<Token> tokens_;
  int line_ = 1;
};

constexpr std::string_view kReserved[] = {
    "AddHandler", "AddressOf", "And",    "As",       "Call",   "Case", "Class",
    "Const",      "Continue",  "Do",     "DownTo",   "Each",   "Else", "ElseIf",
    "End",        "Exit",      "For",    "Function", "If",     "In",   "Inherits",
    "Is",         "IsA",       "Loop",   "Mod",      "Module", "New",  "Next",
    "Not",        "Or",        "Return", "Select",   "Step",   "Sub",  "Then",
    "To",         "Until",     "Var",    "Wend",     "While",  "Xor"};

// --- sentences -----------------------------------------------------------------------------------

class Parser {
public:
  explicit Parser(std::string_view source) : tokens_(Lexer(source).tokens()) {}

  Program program() {
    Program result;
    while (skipLineEnds(), token().kind != Token::Kind::End) {
      skipModifiers();
      if (at("Class") || at("Module"))
        result.classes.push_back(classOrModule());
      else if (at("Function") || at("Sub"))
        result.functions.push_back(function());
      else
        statement(result.main);
    }
    return result;
  }

private:
  // --- tokens ---

  const Token &token(std::size_t ahead = 0) const {
    return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
  }
  bool at(std::string_view text, std::size_t ahead = 0) const {
    const Token &next = token(ahead);
    return (next.kind == Token::Kind::Word || next.kind == Token::Kind::Symbol) &&
           same(next.text, text);
  }
  bool atLineEnd() const { return token().kind == Token::Kind::LineEnd; }
  bool accept(std::string_view text) {
    const bool found = at(text);
    at_ += found;
    return found;
  }
  void expect(std::string_view text) {
    if (!accept(text))
      fail("\"" + std::string(text) + "\" is expected");
  }
  [[noreturn]] void fail(const std::string &fault) const {
    throw Error(fault + " at \"" + token().text + "\"", token().line);
  }
  void skipLineEnds() {
    while (atLineEnd())
      ++at_;
  }
  void endLine() {
    if (!atLineEnd())
      fail("the end of the line is expected");
    ++at_;
  }
  std::string name() {
    const bool isReserved = std::any_of(std::begin(kReserved), std::end(kReserved),
                                        [&](std::string_view word) { return at(word); });
    if (token().kind != Token::Kind::Word || isReserved)
      fail("a name is expected");
    return tokens_[at_++].text;
  }
  std::string memberName() { // behind a point any word will do
    if (token().kind != Token::Kind::Word)
      fail("a name is expected");
    return tokens_[at_++].text;
  }

  // As long as one of these is, what is read stands one level deeper.
  struct Deeper {
    int &depth;
    ~Deeper() { --depth; }
  };
  Deeper deeper() {
    if (depth_ == kDeepest)
      fail("this stands too deep inside");
    return {++depth_};
  }

  // --- declarations ---

  TypeName asType() {
    expect("As");
    return typeName();
  }
  TypeName typeName() {
    TypeName type{memberName(), false, token().line};
    if (accept("(")) {
      expect(")");
      type.isArray = true;
    }
    return type;
  }

  void skipModifiers() {
    while (accept("Public") || accept("Private") || accept("Protected") || accept("Global")) {
    }
  }

  Function function() {
    const std::string ending = tokens_[at_++].text; // Function or Sub
    Function result;
    result.name = memberName();
    if (accept("(") && !accept(")")) {
      do {
        result.parameters.push_back(name());
        const bool isArray = accept("(");
        if (isArray)
          expect(")");
        result.types.push_back(asType());
        result.types.back().isArray |= isArray;
      } while (accept(","));
      expect(")");
    }
    if (!same(ending, "Sub") && at("As"))
      result.result = asType();
    endLine();
    result.body = block();
    end(ending);
    return result;
  }

  void end(const std::string &what) {
    expect("End");
    if (!atLineEnd())
      expect(what);
    endLine();
  }

  Class classOrModule() {
    Class result;
    result.line = token().line;
    result.isModule = at("Module");
    const std::string ending = tokens_[at_++].text;
    result.name = name();
    endLine();
    skipLineEnds();
    if (!result.isModule && accept("Inherits")) {
      result.super = memberName();
      endLine();
    }
    while (skipLineEnds(), !at("End")) {
      skipModifiers();
      const bool isShared = accept("Shared") || result.isModule;
      skipModifiers();
      if (at("Function") || at("Sub"))
        (isShared ? result.shared : result.functions).push_back(function());
      else if (at("Const"))
        statement(result.members);
      else {
        if (isShared && !result.isModule)
          fail("only functions of a class are shared");
        if (!accept("Var") && !at("As", 1))
          accept("Property");
        variables(result.members);
        endLine();
      }
    }
    end(ending);
    return result;
  }

  // --- statements ---

  Block block() {
    Block result;
    const auto ends = [&] {
      for (const char *word :
           {"End", "Else", "ElseIf", "Next", "Wend", "Loop", "Case", "Catch", "Finally"})
        if (at(word))
          return true;
      return false;
    };
    while (skipLineEnds(), !ends()) {
      if (token().kind == Token::Kind::End)
        fail("a block does not end");
      statement(result);
    }
    return result;
  }

  Statement &add(Block &to, Statement::Kind kind) {
    to.push_back({kind, token().line, {}, {}, {}, {}, false, {}});
    return to.back();
  }

  // Appends the statement, with the end of its line.
  void statement(Block &to) {
    simple(to);
    endLine();
  }

  void simple(Block &to) {
    using Of = Statement::Kind;
    const Deeper inside = deeper();
    if (accept("Var"))
      variables(to);
    else if (accept("Const")) {
      Statement &constant = add(to, Of::Const);
      constant.name = name();
      if (at("As"))
        asType();
      expect("=");
      constant.expressions.push_back(expression());
    } else if (accept("If"))
      condition(add(to, Of::If));
    else if (accept("For"))
      loop(to);
    else if (accept("While")) {
      Statement &loop = add(to, Of::While);
      loop.expressions.push_back(expression());
      endLine();
      loop.blocks.push_back(block());
      expect("Wend");
    } else if (accept("Do")) {
      Statement &loop = add(to, Of::DoUntil);
      if (accept("Until"))
        loop.expressions.push_back(expression());
      endLine();
      loop.blocks.push_back(block());
      expect("Loop");
      if (loop.expressions.empty() && accept("Until")) {
        loop.expressions.push_back(expression());
        loop.flag = true;
      }
    } else if (accept("Select"))
      choice(to);
    else if (accept("Exit")) {
      Statement &exit = add(to, Of::Exit);
      for (const char *left : {"For", "While", "Do", "Sub", "Function"})
        if (exit.name.empty() && accept(left))
          exit.name = lower(left);
    } else if (accept("Continue"))
      add(to, Of::Continue);
    else if (accept("Try"))
      attempt(add(to, Of::Try));
    else if (accept("Raise"))
      add(to, Of::Raise).expressions.push_back(expression());
    else if (accept("Return")) {
      Statement &result = add(to, Of::Return);
      if (!atLineEnd() && !at("Else"))
        result.expressions.push_back(expression());
    } else if (accept("AddHandler")) {
      Statement &handler = add(to, Of::AddHandler);
      handler.expressions.push_back(postfix());
      expect(",");
      handler.expressions.push_back(expression());
    } else if (accept("Call")) {
      Statement &call = add(to, Of::Call);
      call.flag = true;
      call.expressions.push_back(postfix());
    } else
      callOrAssignment(to);
  }

  void variables(Block &to) {
    const std::size_t first = to.size();
    do {
      Statement &variable = add(to, Statement::Kind::Var);
      variable.name = name();
      if (accept("(")) {
        variable.type.isArray = true;
        if (!at(")")) {
          variable.expressions.push_back(expression());
          variable.flag = true;
        }
        expect(")");
      }
    } while (accept(","));
    const int line = token().line;
    expect("As");
    std::optional<Expression> value;
    TypeName type;
    if (at("New")) {
      type.name = token(1).text;
      value = expression();
    } else {
      type = typeName();
      if (accept("="))
        value = expression();
    }
    for (std::size_t i = first; i < to.size(); ++i) {
      to[i].type = {type.name, type.isArray || to[i].type.isArray, line};
      if (value)
        to[i].expressions = {*value};
    }
  }

  void attempt(Statement &result) {
    endLine();
    result.blocks.push_back(block());
    while (accept("Catch")) {
      Statement::Catch &caught = result.catches.emplace_back();
      if (!atLineEnd()) {
        caught.name = name();
        caught.type = asType();
      }
      endLine();
      result.blocks.push_back(block());
    }
    if ((result.flag = accept("Finally"))) {
      endLine();
      result.blocks.push_back(block());
    }
    expect("End");
    accept("Try");
  }

  void condition(Statement &result) {
    result.expressions.push_back(expression());
    expect("Then");
    if (!atLineEnd()) { // in one line
      simple(result.blocks.emplace_back());
      if (accept("Else"))
        simple(result.blocks.emplace_back());
      return;
    }
    result.blocks.push_back(block());
    while (accept("ElseIf")) {
      result.expressions.push_back(expression());
      expect("Then");
      endLine();
      result.blocks.push_back(block());
    }
    if (accept("Else")) {
      endLine();
      result.blocks.push_back(block());
    }
    expect("End");
    accept("If");
  }

  void loop(Block &to) {
    const bool isEach = accept("Each");
    Statement &loop = add(to, isEach ? Statement::Kind::ForEach : Statement::Kind::For);
    loop.name = name();
    if (isEach || at("As"))
      loop.type = asType();
    expect(isEach ? "In" : "=");
    loop.expressions.push_back(expression());
    if (!isEach) {
      loop.flag = accept("DownTo");
      if (!loop.flag)
        expect("To");
      loop.expressions.push_back(expression());
      if (accept("Step"))
        loop.expressions.push_back(expression());
    }
    endLine();
    loop.blocks.push_back(block());
    expect("Next");
    if (!atLineEnd())
      expect(loop.name);
  }

  // Select Case becomes a constant and an If that compares it.
  void choice(Block &to) {
    using Of = Statement::Kind;
    expect("Case");
    Block &scope = add(to, Of::Scope).blocks.emplace_back();
    Statement &subject = add(scope, Of::Const);
    subject.name = "Select Case"; // no variable has this name
    subject.expressions.push_back(expression());
    const Expression chosen{Kind::Name, subject.line, subject.name, {}, {}};
    endLine();
    skipLineEnds();
    Statement &cases = add(scope, Of::If);
    while (accept("Case")) {
      const bool isElse = accept("Else");
      if (!isElse) {
        Expression any = caseOf(chosen);
        while (accept(","))
          any = joined("or", std::move(any), caseOf(chosen));
        cases.expressions.push_back(std::move(any));
      }
      endLine();
      cases.blocks.push_back(block());
      if (isElse)
        break;
    }
    expect("End");
    accept("Select");
  }

  Expression caseOf(const Expression &chosen) {
    Expression first = sum();
    if (!accept("To"))
      return joined("=", chosen, std::move(first));
    Expression least = joined(">=", chosen, std::move(first));
    return joined("and", std::move(least), joined("<=", chosen, sum()));
  }

  void callOrAssignment(Block &to) {
    const int line = token().line;
    if (token().kind == Token::Kind::Word && same(token().text, "Print")) {
      // Brackets belong to its argument.
      Expression call{Kind::Call, line, {}, {{Kind::Name, line, tokens_[at_++].text, {}, {}}}, {}};
      call.parts.push_back(expression());
      add(to, Statement::Kind::Call).expressions.push_back(std::move(call));
      return;
    }
    Expression target = postfix();
    for (const char *operation : {"=", "+=", "-="}) {
      if (!accept(operation))
        continue;
      Expression value = expression();
      if (*operation != '=')
        value = joined({operation, 1}, target, std::move(value));
      Statement &assignment = add(to, Statement::Kind::Assign);
      assignment.line = line;
      assignment.expressions = {std::move(target), std::move(value)};
      return;
    }
    if (!atLineEnd() && !at("Else")) { // arguments without brackets
      target = {Kind::Call, line, {}, {std::move(target)}, {}};
      do
        target.parts.push_back(expression());
      while (accept(","));
    }
    Statement &call = add(to, Statement::Kind::Call);
    call.line = line;
    call.expressions.push_back(std::move(target));
  }

  // --- expressions, the weakest operators first ---

  static Expression joined(std::string_view operation, Expression left, Expression right) {
    Expression result{Kind::Binary, left.line, lower(operation), {}, {}};
    result.parts.push_back(std::move(left));
    result.parts.push_back(std::move(right));
    return result;
  }

  template <class Operand>
  Expression leftToRight(std::initializer_list<const char *> operations, Operand operand) {
    Expression result = operand();
    for (int length = 1;; ++length) {
      if (length == kLongest)
        fail("too many operands");
      const auto found = std::find_if(operations.begin(), operations.end(),
                                      [&](const char *operation) { return accept(operation); });
      if (found == operations.end())
        return result;
      result = joined(*found, std::move(result), operand());
    }
  }

  Expression expression() {
    const Deeper inside = deeper();
    return leftToRight({"Or", "Xor"},
                       [&] { return leftToRight({"And"}, [&] { return comparison(); }); });
  }
  Expression comparison() {
    return leftToRight({"=", "<>", "<=", ">=", "<", ">", "Is"}, [&] { return sum(); });
  }
  Expression sum() {
    return leftToRight({"+", "-"}, [&] {
      return leftToRight({"*", "/", "\\", "Mod"}, [&] { return prefixed(); });
    });
  }
  Expression prefixed() {
    const Deeper inside = deeper();
    for (const char *operation : {"Not", "-"})
      if (accept(operation)) {
        const int line = token().line;
        return {Kind::Unary, line, lower(operation), {prefixed()}, {}};
      }
    accept("+");
    Expression result = tested();
    while (accept("^"))
      result = joined("^", std::move(result), at("-") ? prefixed() : tested());
    return result;
  }
  Expression tested() {
    Expression result = postfix();
    while (accept("IsA"))
      result = {Kind::IsA, result.line, memberName(), {result}, {}};
    return result;
  }

  std::vector<Expression> arguments() {
    std::vector<Expression> result;
    expect("(");
    if (!accept(")")) {
      do
        result.push_back(expression());
      while (accept(","));
      expect(")");
    }
    return result;
  }

  Expression postfix() {
    Expression result = primary();
    for (int length = 1;; ++length) {
      if (length == kLongest)
        fail("too many members");
      if (at("(")) {
        Expression call{Kind::Call, result.line, {}, {std::move(result)}, {}};
        for (Expression &argument : arguments())
          call.parts.push_back(std::move(argument));
        result = std::move(call);
      } else if (accept(".")) {
        const int line = token().line;
        result = {Kind::Member, line, memberName(), {std::move(result)}, {}};
      } else
        return result;
    }
  }

  Expression primary() {
    const Token here = token();
    const auto literal = [&](Value value) -> Expression {
      ++at_;
      return {Kind::Literal, here.line, {}, {}, std::move(value)};
    };
    if (here.kind == Token::Kind::Text)
      return literal(text(here.text));
    if (here.kind == Token::Kind::Number)
      return literal(numberOf(here));
    if (at("True") || at("False"))
      return literal(boolean(at("True")));
    if (at("Nil"))
      return literal(nil());
    if (accept("(")) {
      Expression inner = expression();
      expect(")");
      return inner;
    }
    if (accept("New")) {
      Expression made{Kind::New, here.line, memberName(), {}, {}};
      if (at("("))
        made.parts = arguments();
      return made;
    }
    if (accept("AddressOf"))
      return {Kind::AddressOf, here.line, {}, {postfix()}, {}};
    return {Kind::Name, here.line, name(), {}, {}};
  }

  Value numberOf(const Token &token) const {
    const char *const begin = token.text.data();
    const char *const end = begin + token.text.size();
    const auto reads = [&](auto &number) {
      const auto [stop, fault] = std::from_chars(begin, end, number);
      return stop == end && fault == std::errc();
    };
    std::int64_t whole = 0;
    std::uint64_t large = 0;
    double number = 0;
    if (reads(whole))
      return integer(whole);
    if (reads(large))
      return {{host::Kind::UInt64}, static_cast<std::int64_t>(large)};
    if (!reads(number))
      fail("a smaller number is expected");
    return real(number);
  }

  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

} // namespace

Program parse(std::string_view source) {
  // What every program can raise and catch.
  static constexpr std::string_view kExceptions = R"(Class RuntimeException
  Message As String
  ErrorNumber As Integer
  Sub Constructor()
  End Sub
  Sub Constructor(message As String)
    Self.Message = message
  End Sub
  Sub Constructor(message As String, errorNumber As Integer)
    Self.Message = message
    Self.ErrorNumber = errorNumber
  End Sub
End Class
Class NilObjectException
  Inherits RuntimeException
End Class
Class OutOfBoundsException
  Inherits RuntimeException
End Class
Class IllegalCastException
  Inherits RuntimeException
End Class
Class InvalidArgumentException
  Inherits RuntimeException
End Class
Class UnsupportedOperationException
  Inherits RuntimeException
End Class
)";
  Program result = Parser(source).program();
  for (Class &builtIn : Parser(kExceptions).program().classes)
    result.classes.push_back(std::move(builtIn));
  return result;
}

} // namespace script
