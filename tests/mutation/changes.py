"""The changes that tests/mutation/run tries, and the sources that hold all of them, each behind its number."""

import re

COMPARISONS = {"==": "Equal", "!=": "Unequal", "<": "Less", "<=": "NotAbove", ">": "Above", ">=": "NotBelow",
               "+": "Plus", "-": "Minus"}
INSTEAD = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "+": "- (or in other order)", "-": "+"}
VOICES = {"info": "warn", "debug": "warn", "warn": "info", "error": "warn"}

COMPARISON = r" (?P<comparison>==|!=|<=|>=|<|>|\+|-) "
AND_OR = r" (?P<logical>&&|\|\|) "
LITERAL = r"\b(?P<bool>true|false)\b"
WORD = r"\bWord::(?P<word>yes|no)\b"
NEGATION = r"(?<=[(\s])(?P<negation>!)(?=[\w(])"
NUMBER = r"(?<![\w.\"<])(?P<number>0|[1-9]\d*)(?![\w.>])"
TERNARY = r" (?P<ternary>\?) "
REPORTED = r"\breturn (?P<failure>)op\.fail\("
CONDITION = re.compile(r"^\s*(?:else )?(?:if|while) \((?P<condition>)[\w.:\->*()\[\], ]+\)\s*\{?\s*$")
TOKENS = re.compile("|".join([COMPARISON, AND_OR, LITERAL, WORD, NEGATION, NUMBER, TERNARY, REPORTED]))

STATEMENT = re.compile(r"^\s+(Q_EMIT |\(void\)|throw )?(\*?[A-Za-z_][\w:]*((\.|->|::)\w+|\[\w+\]|\(\))*"
                       r"(<[\w:]+>)?(\(.*|\s(=|\+=|\|=) .*)|\+\+\w+)$")
DECLARATION = re.compile(r"^\s+(return|if|for|while|switch|using|static|constexpr|const|else|do)\b")
STARTS_ANEW = re.compile(r"([;{}:]|\)|\belse)\s*$")


class Change:
    """One change: what it does, in the words of the line, for people and for the list of equal ones."""

    def __init__(self, number, path, line, original, kind):
        self.number, self.path, self.line = number, path, line
        self.original, self.kind = original.strip(), kind

    def __str__(self):
        return f"{self.path}:{self.line + 1}: {self.original}  [{self.kind}]"


def code_only(line):
    """The line with texts and comments blanked out, of the same length."""
    blanked = re.sub(r'"(\\.|[^"\\])*"', lambda text: '"' + " " * (len(text.group()) - 2) + '"', line)
    blanked = re.sub(r"'(\\.|[^'\\])'", lambda text: " " * len(text.group()), blanked)
    comment = blanked.find("//")
    return blanked if comment < 0 else blanked[:comment].ljust(len(blanked))


def windows_lines(lines):
    """The numbers of the lines that only a compiler for Windows sees."""
    found, inside = set(), False
    for number, line in enumerate(lines):
        if line.startswith("#"):
            inside = line.startswith("#ifdef Q_OS_WIN")
        elif inside:
            found.add(number)
    return found


class Source:
    """A source file and its changes."""

    def __init__(self, path, text, first_number, left_out):
        self.path, self.left_out = path, left_out
        self.lines = text.split("\n")
        self.for_windows = windows_lines(self.lines)
        self.next_number = first_number
        self.changes = []

    def new(self, line, kind):
        """The number of a new change, or None where the changes of this line are not compiled."""
        number = self.next_number
        self.next_number += 1
        if (self.path, line) in self.left_out or line in self.for_windows:
            return None
        self.changes.append(Change(number, self.path, line, self.lines[line], kind))
        return number

    def substitute(self, line, match):
        """What stands in the place of a token, or None for the token itself."""
        groups = match.groupdict()
        new = lambda kind: self.new(line, kind)
        if groups["comparison"]:
            sign = groups["comparison"]
            number = new(f"{sign} is {INSTEAD[sign]}")
            return number and f" {sign} Mutant::{COMPARISONS[sign]}<{number}>{{}} {sign} "
        if groups["logical"]:
            sign, word, bit = groups["logical"], "True", "|"
            if sign == "||":
                word, bit = "False", "&"
            left, right = new(f"left of {sign} is {word.lower()}"), new(f"right of {sign} is {word.lower()}")
            return left and f" {bit} Mutant::{word}<{left}>{{}} {sign} Mutant::{word}<{right}>{{}} {bit} "
        if groups["bool"]:
            number = new(f"{groups['bool']} is the opposite")
            return number and f"Mutant::pick({number}, {groups['bool']}, !{groups['bool']})"
        if groups["word"]:
            number = new(f"Word::{groups['word']} is the opposite")
            return number and f"Mutant::pick({number}, Word::{groups['word']}, " \
                              f"Word::{'no' if groups['word'] == 'yes' else 'yes'})"
        if groups["negation"]:
            number = new("! is dropped")
            return number and f"Mutant::Not<{number}>{{}} ->* "
        if groups["number"]:
            number = new(f"{groups['number']} is one more")
            return number and f"Mutant::next({number}, {groups['number']})"
        if groups["ternary"]:
            number = new("? chooses the other")
            return number and f" ^ Mutant::Flip<{number}>{{}} ? "
        number = new("the failure is a success")
        return number and f"return Mutant::Flip<{number}>{{}} ->* op.fail("

    def changed_line(self, line, text):
        code = code_only(text)
        if not code.strip() or code.lstrip().startswith(("#", "template", "static_assert", "extern")):
            return text
        out, at = [], 0
        condition = CONDITION.match(code)
        if condition and " = " not in code and not TOKENS.search(code):
            number = self.new(line, "the condition is the opposite")
            if number:
                out.append(text[:condition.start("condition")] + f"Mutant::Flip<{number}>{{}} ->* ")
                at = condition.start("condition")
        for match in TOKENS.finditer(code):
            instead = self.substitute(line, match)
            if instead:
                out.append(text[at:match.start()] + instead)
                at = match.end()
        changed = "".join(out) + text[at:]
        return changed.replace("constexpr ", "const ", 1) if out else changed

    def statement_end(self, first):
        """The line that ends the statement which begins in line `first`, or None."""
        depth = 0
        for line in range(first, min(first + 6, len(self.lines))):
            code = code_only(self.lines[line])
            depth += sum(code.count(sign) for sign in "({[") - sum(code.count(sign) for sign in ")}]")
            if depth == 0 and code.rstrip().endswith(";"):
                return line
            if depth <= 0 and code.rstrip().endswith(("{", "}")):
                return None
        return None

    def begins_statement(self, line):
        code = code_only(self.lines[line])
        if not STATEMENT.match(code) or DECLARATION.match(code):
            return False
        before = next((text for text in reversed([code_only(text).rstrip() for text in self.lines[:line]]) if text),
                      "")
        return bool(STARTS_ANEW.search(before)) or before.lstrip().startswith("#")

    def guarded(self, first, statement):
        """The statement, which may be left out, and whose voice may be another."""
        dropped = self.new(first, "the statement is dropped")
        if not dropped:
            return statement
        voice = re.match(r"\s*op\.(info|debug|warn|error)\(", statement)
        if voice:
            number = self.new(first, f"{voice.group(1)} is {VOICES[voice.group(1)]}")
            other = statement.replace(f"op.{voice.group(1)}(", f"op.{VOICES[voice.group(1)]}(", 1)
            statement = f"if (Mutant::on({number})) {other.strip()} else {statement.strip()}"
        return f"{{ if (!Mutant::on({dropped})) {{ {statement.strip()} }} }}"

    def text(self):
        """The source with all its changes, in as many lines."""
        out, line = [], 0
        while line < len(self.lines):
            end = self.statement_end(line) if self.begins_statement(line) else None
            if end is None:
                out.append(self.changed_line(line, self.lines[line]))
                line += 1
                continue
            parts = [re.sub(r"//.*", "", self.changed_line(number, self.lines[number]))
                     if "//" in code_or_text(self.lines[number]) else
                     self.changed_line(number, self.lines[number]) for number in range(line, end + 1)]
            out.append(self.guarded(line, " ".join(part.strip() for part in parts)))
            out.extend([""] * (end - line))
            line = end + 1
        return "\n".join(out)


def code_or_text(line):
    """The line up to its comment, with the mark of the comment where there is one."""
    blanked = re.sub(r'"(\\.|[^"\\])*"', lambda text: '"' + " " * (len(text.group()) - 2) + '"', line)
    return "//" if "//" in blanked else ""
