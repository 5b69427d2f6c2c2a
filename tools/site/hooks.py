"""What MkDocs does beside its own for the manual: colours for the host's language, tables for phones."""

import html.parser
import re

from pygments import lexers
from pygments.lexer import RegexLexer, words
from pygments.token import Comment, Keyword, Name, Number, Operator, String, Text

KEYWORDS = """AddHandler AddressOf As Call Case Catch Class Const Constructor Continue CType Destructor Do Dim
DownTo Each Else ElseIf End Event Exit Finally For Function GoTo If In Inherits Loop Module Next New ParamArray
Private Property Protected Public Raise RaiseEvent RemoveHandler Return Select Shared Static Step Sub Super Then
To Try Until Using Var Wend While""".split()


class XojoLexer(RegexLexer):
    """The host's language."""
    name, aliases, filenames = "Xojo", ["xojo"], []
    flags = re.IGNORECASE
    tokens = {"root": [
        (r"('|//|Rem\b).*", Comment),
        (r"#\w+.*", Comment.Preproc),
        (r'"(?:[^"\n]|"")*"', String),
        (r"&h[0-9a-f]+|\d+(\.\d+)?(e[+-]?\d+)?", Number),
        (words(["And", "Or", "Xor", "Not", "Mod", "Is", "IsA"], suffix=r"\b"), Operator.Word),
        (words(["True", "False", "Nil", "Self", "Me"], suffix=r"\b"), Keyword.Constant),
        (r"(Integer|Int8|Int16|Int32|Int64|UInt8|UInt16|UInt32|UInt64|Double|Single|Boolean|String|Ptr|Variant|"
         r"Object)\b(?!\.)", Keyword.Type),
        (r"(?<!\.)\b(" + "|".join(KEYWORDS) + r")\b", Keyword),
        (r"\w+", Name),
        (r".|\n", Text),
    ]}


class OutputLexer(RegexLexer):
    """What a program prints."""
    name, aliases, filenames = "Output", ["output"], []
    tokens = {"root": [(r".*\n", Text)]}


def _known_by_alias(get):
    def get_lexer_by_name(alias, **options):
        for lexer in (XojoLexer, OutputLexer):
            if alias in lexer.aliases:
                return lexer(**options)
        return get(alias, **options)
    return get_lexer_by_name


def on_startup(**_):
    from markdown.extensions import codehilite
    codehilite.get_lexer_by_name = _known_by_alias(lexers.get_lexer_by_name)


class _Tables(html.parser.HTMLParser):
    """Gives each cell the text of its column's head, which a phone shows beside it."""

    def __init__(self):
        super().__init__(convert_charrefs=False)
        self.out, self.heads, self.cell, self.in_head = [], [], 0, False

    def handle_starttag(self, tag, attributes):
        text = self.get_starttag_text()
        if tag == "table":
            self.heads = []
        elif tag == "tr":
            self.cell = 0
        elif tag == "th":
            self.heads.append("")
            self.in_head = True
        elif tag == "td":
            head = self.heads[self.cell] if self.cell < len(self.heads) else ""
            if head:
                text = text[:-1] + f' data-head="{head}">'
            self.cell += 1
        self.out.append(text)

    def handle_startendtag(self, tag, attributes):
        self.out.append(self.get_starttag_text())

    def handle_endtag(self, tag):
        self.in_head = self.in_head and tag != "th"
        self.out.append(f"</{tag}>")

    def handle_data(self, data):
        if self.in_head:
            self.heads[-1] += data.replace('"', "&quot;")
        self.out.append(data)

    def handle_entityref(self, name):
        self.handle_data(f"&{name};")

    def handle_charref(self, name):
        self.handle_data(f"&#{name};")

    def handle_comment(self, data):
        pass


def on_page_content(text, **_):
    tables = _Tables()
    tables.feed(text)
    tables.close()
    # A picture opens by itself, which a phone can enlarge.
    return re.sub(r'(<img [^>]*src="([^"]+)"[^>]*>)', r'<a href="\2">\1</a>', "".join(tables.out))
