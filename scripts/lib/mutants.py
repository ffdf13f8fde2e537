"""The mutants of a source: every change that scripts/mutation may make to its text.

This is not a C++ parser. The compiler rejects invalid mutants.
"""
import re
from dataclasses import dataclass

# The tokens of a source that a mutant may change, and those inside which nothing is a token.
TOKENS = re.compile(
    r"""(?P<comment>//[^\n]*)
      | (?P<directive>^\#[^\n]*)
      | (?P<text>"(?:[^"\\\n]|\\.)*")
      | (?P<character>'(?:[^'\\\n]|\\.)+')
      | (?P<number>(?<![\w.])(?:0x[0-9A-Fa-f']+|\d[\d']*)[uUlL]*(?![\w.]))
      | (?P<operator>(?<=\s)(?:==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\+|-|\*|/|%|&|\||\^)(?=\s)|\+\+|--|!(?=[\w(:]))
      | (?P<word>\b(?:true|false|break|continue)\b)
    """,
    re.VERBOSE | re.MULTILINE,
)
OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="],
    ">=": [">", "<"], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"],
    "%": ["*"], "&": ["|"], "|": ["&"], "^": ["&"], "+=": ["-="], "-=": ["+="], "++": ["--"],
    "--": ["++"], "!": [""],
}
WORDS = {"true": "false", "false": "true", "break": "continue", "continue": "break"}

# The two arguments of a call, neither with parentheses. Their order does not matter to std::min and std::max.
TWO_ARGUMENTS = re.compile(r"(?<=\w\()(?<!std::min\()(?<!std::max\()"
                           r"([^(){};,\"]+), ([^(){};,\"]+)(?=\))")
# A type in front of a name makes it a parameter, not an argument.
PARAMETER = re.compile(r"\w[\s*&]+\w")
CONDITION = re.compile(r"\b(?:if|while) \((?!const |auto )((?:[^(){};]|\([^(){};]*\))+)\) \{")
# A call of one argument, which a mutant replaces with the argument. Left out are std::move and std::forward, which
# make no difference, and the calls of these names, whose results have other types.
INNER_CALL = re.compile(r"(?<![\w>.:])((?!std::(?:move|forward)\b)(?:\w+(?:::|\.|->))*"
                        r"(?!(?:if|for|while|switch|catch|return|sizeof|find|at|count|get|CF\w+|AM\w+|make_\w+)\b)\w+)"
                        r"\(((?:[^(){};,]|\([^(){};,]*\))+)\)")

KEYWORDS = {"if", "for", "while", "do", "else", "switch", "case", "default", "return", "break",
            "continue", "goto", "try", "catch", "throw", "using", "namespace", "typedef", "struct",
            "class", "enum", "template", "static_assert", "public", "private", "protected", "extern",
            "friend"}
LIBRARIES = ("std::", "boost::", "fmt::", "po::", "fs::")
LOCK = re.compile(r"(?:const )?std::(?:lock_guard|unique_lock|scoped_lock)\b")
# "type name = ...;", "type name(...);", "type name{...};", "type name;"
DECLARATION = re.compile(
    r"(?:static |const |constexpr |thread_local )*"
    r"(?P<type>(?:[A-Za-z_][\w:]*)(?:<[^;=]*>)?(?:\s*[*&]+(?:\s*const)?)*)\s+[*&]*"
    r"(?:const )?(?P<name>[A-Za-z_]\w*|\[[\w, ]+\])\s*(?:=|\(|\{|;)")
ARGUMENT = re.compile(r"(?<=[(,])(?P<blank>\s*)(?P<name>[A-Za-z_]\w*(?:::\w+)*)(?=\s*[,)])")
NAMED_PARAMETER = re.compile(r"(?<=[(,])\s*(?P<type>(?:const )?[A-Za-z_][\w:]*(?:<[^()]*?>)?\s*[*&]*)\s*"
                             r"(?<=[\s*&])(?P<name>[a-z_]\w*)(?=\s*[,)=])")


@dataclass(frozen=True)
class mutant:
    file: str
    kind: str
    begin: int
    end: int
    replacement: str

    def change(self, source):
        return source[: self.begin] + self.replacement + source[self.end :]

    def describe(self, source):
        line = source.count("\n", 0, self.begin) + 1
        return f"{self.file}:{line}: {self.kind}: {self.difference(source)}"

    def difference(self, source):
        before = " ".join(source[self.begin : self.end].split())
        after = " ".join(self.replacement.split())
        return f"{before}  ->  {after or '(nothing)'}"


@dataclass(frozen=True)
class statement:
    begin: int
    end: int
    text: str

    def is_simple(self):
        return self.text.endswith(";") and not self.keyword() in KEYWORDS

    def keyword(self):
        word = re.match(r"\w+", self.text)
        return word[0] if word else ""

    def declaration(self):
        match = DECLARATION.match(self.text)
        if not match or match["type"] in KEYWORDS or not self.is_simple():
            return None
        return match

    def is_lock(self):
        return LOCK.match(self.text) is not None

    def is_block(self):
        return self.text.startswith("{")

    def calls(self):
        return "(" in self.text


def masked(source):
    """The source without comments, directives and the content of strings, with the same positions."""
    def blank(match):
        text = match.group()
        if match.lastgroup in ("comment", "directive"):
            return re.sub(r"[^\n]", " ", text)
        if match.lastgroup in ("text", "character"):
            return text[0] + "_" * (len(text) - 2) + text[-1]
        return text
    return TOKENS.sub(blank, source)


def braces(code):
    """The pairs of braces, as positions of both."""
    open_braces, pairs = [], []
    for position, character in enumerate(code):
        if character == "{":
            open_braces.append(position)
        elif character == "}" and open_braces:
            pairs.append((open_braces.pop(), position))
    return sorted(pairs)


def holds_statements(code, brace):
    """Whether an opening brace begins the body of a function or a block, not a list or a class."""
    before = code[:brace].rstrip()
    word = re.search(r"\w+$", before)
    if word:
        return word[0] in ("else", "do", "try", "const", "noexcept", "override", "final", "mutable")
    if re.search(r"\)\s*->\s*[\w:<>*& ]+$", before[-80:]):
        return True
    # After a bracket a lambda without parameters begins; an array's list follows "=" or a name.
    return before.endswith((")", "]", ";", "{", "}")) or re.search(r"\b(?:case [^:]+|default):$", before) is not None


def statements_of(code, begin, end):
    """The statements between these positions, without those inside them."""
    result, start, depth, position = [], None, 0, begin
    while position < end:
        character = code[position]
        if start is None and not character.isspace():
            start = position
        if character in "([{":
            depth += 1
        elif character in ")]}":
            depth -= 1
        ends = depth == 0 and character == ";"
        if depth == 0 and character == "}":
            # A list or a lambda goes on to its semicolon, and so does an if with an else.
            rest = code[position + 1 : end].lstrip()
            opening = matching(code, position)
            ends = holds_statements(code, opening) and not rest.startswith(
                (";", ")", ",", "(", ".", "else", "catch", "while ("))
        if ends and start is not None:
            result.append(statement(start, position + 1, code[start : position + 1]))
            start = None
        position += 1
    return result


def matching(code, closing):
    depth = 0
    for position in range(closing, -1, -1):
        if code[position] == "}":
            depth += 1
        elif code[position] == "{":
            depth -= 1
            if depth == 0:
                return position
    return 0


def blocks(code):
    """Yields each block's braces and statements."""
    for begin, end in braces(code):
        if holds_statements(code, begin):
            yield begin, end, statements_of(code, begin + 1, end)


def uses(text, declaration):
    names = re.findall(r"\w+", declaration["name"])
    return any(re.search(rf"\b{name}\b", text) for name in names)


def swapped_statements(source, first, second):
    """The text of both in the other order, and the text between them."""
    between = source[first.end : second.begin]
    return source[second.begin : second.end] + between + source[first.begin : first.end]


def order_matters(first, second):
    """False where a swap certainly does not compile or certainly changes nothing."""
    for one in (first, second):
        if one.keyword() in KEYWORDS and one.keyword() not in ("if", "for", "while", "switch", "try"):
            return False
        if one.text.startswith(("constexpr ", "using ", "static const ")):
            return False
    declared = first.declaration()
    if declared and uses(second.text, declared):
        return False
    if any(one.declaration() and not one.calls() for one in (first, second)):
        return False
    return first.calls() or second.calls() or first.is_block() or second.is_block()


def mutants_of_order(file, source, block):
    for first, second in zip(block, block[1:]):
        if second.keyword() == "return" and first.is_simple() and not first.declaration() and second.calls():
            value = source[second.begin : second.end].removeprefix("return").rstrip(";").strip()
            yield mutant(file, "swapped statements", first.begin, second.end,
                         f"auto mutant_result = {value}; {source[first.begin:first.end]} return mutant_result;")
        elif order_matters(first, second):
            kind = "lock scope" if first.is_lock() or second.is_lock() else "swapped statements"
            yield mutant(file, kind, first.begin, second.end, swapped_statements(source, first, second))


def mutants_of_locks(file, source, begin, end, block):
    """The lock held for no statement, for the first one only, and for all but the last."""
    for index, lock in enumerate(block):
        if not lock.is_lock():
            continue
        text = source[lock.begin : lock.end]
        yield mutant(file, "lock scope", lock.begin, lock.end, "{ " + text + " }")
        guarded = block[index + 1 :]
        if len(guarded) > 1:
            for last in {guarded[0], guarded[-2]}:
                yield mutant(file, "lock scope", lock.begin, last.end,
                             "{ " + source[lock.begin : last.end] + " }")


def mutants_of_lock_blocks(file, source, block):
    for one in block:
        if one.is_block() and LOCK.search(one.text):
            yield mutant(file, "lock scope", one.begin, one.end, source[one.begin + 1 : one.end - 1])


def mutants_of_removal(file, source, block):
    for one in block:
        if one.is_simple() and not one.declaration() and not one.is_lock():
            kind = "removed call" if one.calls() else "removed assignment"
            yield mutant(file, kind, one.begin, one.end, ";")


def normalised(type_name):
    return re.sub(r"\s+|\bconst\b|&", "", type_name)


def known_types(code, block_begin, block_end):
    """The variables that the text declares with a type, and from where on: in the block, in the
    parameters of the function or lambda that it belongs to, and at the namespace's level."""
    types = {}
    before = code[:block_begin]
    # From the statement before to the brace: the head of the function, or of the loop.
    head = before[max(before.rfind(";"), before.rfind("}"), before.rfind("{")) + 1 :]
    for match in NAMED_PARAMETER.finditer(head):
        types[match["name"]] = (normalised(match["type"]), block_begin)
    for one in statements_of(code, block_begin + 1, block_end):
        declared = one.declaration()
        if declared:
            types[declared["name"]] = (normalised(declared["type"]), one.end)
    for match in re.finditer(r"^(?:constexpr|const|static) (?P<type>[\w:]+(?: ?[*&])?) (?P<name>\w+) ?=\s*(?P<value>\S)",
                             code, re.MULTILINE):
        is_text = match["type"] == "auto" and match["value"] == '"'
        types[match["name"]] = ("text" if is_text else normalised(match["type"]), match.end())
    return {name: known for name, known in types.items() if known[0].rstrip("*") != "auto"}


def mutants_of_arguments(file, code, begin, end):
    """Arguments that are a variable, replaced by each other one of its type; and arguments that are an
    enumerator, replaced by another one of its type."""
    types = known_types(code, begin, end)
    enumerators = {}
    for name in re.findall(r"\b([a-z_]\w*::[a-z_A-Z]\w*)\b(?!\s*[({<:])", code):
        enumerators.setdefault(name.split("::")[0], {})[name] = None
    for match in ARGUMENT.finditer(code, begin, end):
        name = match["name"]
        if name in types:
            others = [other for other, (type_name, since) in types.items()
                      if other != name and type_name == types[name][0] and since <= match.start()]
        elif "::" in name and not name.startswith(LIBRARIES):
            others = [other for other in enumerators.get(name.rsplit("::", 1)[0], ())
                      if other != name][:2]
        else:
            others = []
        for other in others:
            yield mutant(file, "replaced argument", match.start("name"), match.end("name"), other)


def mutants_of_token(match):
    kind, text = match.lastgroup, match.group()
    if kind == "operator":
        return [("operator", replacement) for replacement in OPERATORS[text]]
    if kind == "word":
        return [("constant", WORDS[text])]
    if kind == "number":
        return [("constant", f"({text} + 1)")]
    if kind == "text":
        return [("constant", '"?"' if text == '""' else '""')]
    return []


def mutants_of_tokens(file, source):
    for match in TOKENS.finditer(source):
        for kind, replacement in mutants_of_token(match):
            yield mutant(file, kind, *match.span(), replacement)


def mutants_of_calls(file, source, code):
    for match in TWO_ARGUMENTS.finditer(code):
        one, other = (source[slice(*match.span(group))] for group in (1, 2))
        has_word = ("true" in (one, other)) != ("false" in (one, other))
        if not PARAMETER.search(one) and not PARAMETER.search(other) and not has_word:
            yield mutant(file, "swapped arguments", *match.span(), f"{other}, {one}")
    for match in INNER_CALL.finditer(code):
        argument = source[slice(*match.span(2))]
        is_inner = re.search(r"(?:[(,=?:]|return|&&|\|\||[-+])\s*$", code[: match.start()])
        if is_inner and not PARAMETER.search(argument):
            yield mutant(file, "removed inner call", *match.span(), argument)


def mutants_of(file, source):
    """All changes that may be made to `source`, each once, in no particular order."""
    code = masked(source)
    found = [*mutants_of_tokens(file, source), *mutants_of_calls(file, source, code)]
    for match in CONDITION.finditer(code):
        condition = source[slice(*match.span(1))]
        found.append(mutant(file, "condition", *match.span(1), f"!({condition})"))
    for begin, end, block in blocks(code):
        found += mutants_of_order(file, source, block)
        found += mutants_of_locks(file, source, begin, end, block)
        found += mutants_of_lock_blocks(file, source, block)
        found += mutants_of_removal(file, source, block)
        found += mutants_of_arguments(file, code, begin, end)
    changes = {(one.begin, one.end, one.replacement): one for one in found}
    return [one for one in changes.values() if one.change(source) != source]
