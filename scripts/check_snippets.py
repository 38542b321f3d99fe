#!/usr/bin/env python3
"""Checks that the code which README and the headers show is code of the example programs, line by line.

   check_snippets.py        at the top of the tree; status 1, and what is found nowhere, if there is any

A snippet in a header is what its comments set in by two blanks or more, where a line of it ends like code. Its
parts, apart by lines of "...", stand in one example in this order, each without a gap; remarks behind lines and
the breaking of lines may differ.
"""
import glob
import re
import sys

COMMENT = re.compile(r"^\s*//(   +\S.*)$")


def code(line):
    """A line without the blanks around it and without a remark behind it."""
    return re.sub(r"\s*//( .*)?$", "", line).strip()


def snippets(path):
    """(line number, lines) of each snippet."""
    found, current = [], []
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    for number, line in enumerate(lines + [""], 1):
        match = COMMENT.match(line)
        blank = current and line.strip() == "//"
        if match:
            current.append((number, match.group(1)))
        elif not blank:
            if current:
                found.append((current[0][0], [code(text) for _, text in current]))
            current = []
    return found


def readme_snippet():
    with open("README.md", encoding="utf-8") as file:
        text = file.read()
    return [code(line) for line in re.search(r"```cpp\n(.*?)```", text, re.S).group(1).splitlines()]


def joined(lines):
    """All their code, without the blanks and line ends that are a matter of form."""
    return re.sub(r"\s", "", "".join(lines))


def stands_in(lines, program):
    place = 0
    for run in "\n".join(lines).split("\n...\n"):
        place = program.find(joined(run), place)
        if place < 0:
            return False
        place += len(joined(run))
    return True


def is_code(lines):
    return any(line.endswith((";", "{", "}")) for line in lines)


def main():
    programs = []
    for path in sorted(glob.glob("examples/**/*.cpp", recursive=True)):
        with open(path, encoding="utf-8") as file:
            programs.append(joined(map(code, file.read().splitlines())))
    checked = [("README.md", 1, readme_snippet())]
    for path in sorted(glob.glob("include/vdx/*.h")):
        checked += [(path, number, lines) for number, lines in snippets(path) if is_code(lines)]
    missing = [one for one in checked if not any(stands_in(one[2], program) for program in programs)]
    for path, number, lines in missing:
        print(f"{path}:{number}: stands in no example:", *lines, sep="\n    ")
    print(f"{len(checked)} snippets, {len(missing)} in no example")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
