#!/usr/bin/env python3
"""Doxygen's view of a public header: its plain comments as documentation comments.

A comment that stands right above declarations documents each of them up to the next empty line, and one behind
a declaration documents that. Comments on their own belong to the page of the file. Deleted and defaulted
functions and friends are left out, and so are destructors that say nothing.
"""
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?: (.*)|)$")
TRAILING = re.compile(r"^(.*\S)\s+// (.*)$")
LEFT_OUT = re.compile(r"= (delete|default);|^\s*friend |^\s*static_assert|^\s*(VDX_API )?(struct|class) \w+;$")
NO_DECLARATION = re.compile(r"\s*(}|#(?!define)|public:|private:|protected:)")
DESTRUCTOR = re.compile(r"^\s*(virtual )?~")


def escape(text):
    """Texts of comments are plain: nothing in them is a command or markup."""
    text = re.sub(r"\s*NOLINT\S*", "", text)
    return re.sub(r"--", r"\\--", re.sub(r'([\\@<>#&%"])', r"\\\1", text))


def documentation(lines):
    """The lines of a comment; those set in by two blanks or more are code or tables."""
    out, code = [], False
    for line in lines:
        indented = line.startswith("  ") or "   " in line
        if indented != code and (line or not code):
            out.append("@code{.cpp}" if indented else "@endcode")
            code = indented
        out.append(line if code else "" if set(line) <= {"-"} else escape(line).replace("\\--- ", "").rstrip("-\\"))
    return out + (["@endcode"] if code else [])


def emit(lines, indent):
    for line in lines:
        print(f"{indent}/// {line}".rstrip())


class Filter:
    def __init__(self):
        self.comment = []  # Of the declarations that come.
        self.fresh = False  # No declaration has stood below it yet.
        self.nested = False  # Inside a class or a function.
        self.open = ""  # The declaration that is not yet complete.
        self.skipped_until = None  # The end of a function that is left out.

    def comment_line(self, text):
        if not self.fresh:
            self.comment = []
        self.comment.append(text)
        self.fresh = True

    def empty_line(self):
        if self.fresh and not self.nested:
            emit(["@file", *documentation(self.comment)], "")
        self.comment, self.fresh = [], False
        print()

    def code_line(self, line):
        if self.skipped_until:
            self.skipped_until = None if line == self.skipped_until else self.skipped_until
            return
        indent = re.match(r"\s*", line).group()
        trailing = TRAILING.match(line)
        code = trailing.group(1) if trailing else line
        silent = DESTRUCTOR.match(code) and not self.fresh and not trailing
        if not self.open and (LEFT_OUT.search(code) or silent):
            self.skipped_until = indent + "}" if code.endswith("{") else None
            self.fresh = False
            return
        if not self.open and not NO_DECLARATION.match(code):
            lines = self.comment + [trailing.group(2)] if trailing else self.comment
            emit(documentation(lines), indent)
        print(code)
        self.nested = code.startswith(" ") or (self.nested and not code.startswith("}"))
        self.fresh = False
        self.open += code
        body = code.endswith("{")
        complete = self.open.count("(") == self.open.count(")") and code.endswith((";", "}", ",", ":"))
        if body or complete or code.startswith("#"):
            self.open = ""
        if body:
            self.comment = []


def filtered(lines):
    state = Filter()
    emit(["@file", *documentation([lines[0][3:]])], "")
    for line in lines[1:]:
        match = COMMENT.match(line)
        if match and "NOLINT" in line:
            continue
        if match:
            state.comment_line(match.group(2) or "")
        elif line.strip():
            state.code_line(line)
        else:
            state.empty_line()


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as header:
        filtered(header.read().splitlines())
