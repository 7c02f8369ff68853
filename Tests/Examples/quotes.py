#!/usr/bin/env python3
"""Holds what the documents quote against what is compiled and run.

A quotation is a fenced block behind a comment that names where it is from:

    <!-- Examples/tour/model.cpp -->          the program's regions (// >>> … // <<<), joined by an empty line
    <!-- lines of Tests/X/CMakeLists.txt -->  lines that all stand in that file
    <!-- output of kvt model --classes F -->  what the tool prints

    quotes.py check ROOT DOCUMENT [--kvt PROGRAM] [--folder FOLDER] [--update]
        every C++ block of the document is a quotation and true; every program in FOLDER is quoted; relative links lead
        somewhere. --update writes the quotations anew instead.
    quotes.py run SOURCE PROGRAM
        the program prints what the comments in its regions say: one line for each comment behind a "\\n" that is printed.
    quotes.py golden EXPECTED PROGRAM
        the program prints the text of the file, but for addresses; lines of JSON may have their keys in another order.
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys
import textwrap


def regions(source):
    """The quoted text of a program: its regions, each without its indentation."""
    found = re.findall(r"^[ \t]*// >>>\n(.*?)^[ \t]*// <<<$", source.read_text(), re.S | re.M)
    if not found:
        raise SystemExit(f"{source}: no region is marked")
    return "\n".join(textwrap.dedent(region) for region in found)


def quotation(root, origin, kvt):
    """What a block with this origin must hold; None for a block that is compared line by line."""
    if origin.startswith("output of kvt "):
        command = [kvt] + origin.removeprefix("output of kvt ").split()
        return subprocess.run(command, cwd=root, check=True, capture_output=True, text=True).stdout
    if origin.startswith("lines of "):
        return None
    return regions(root / origin)


BLOCK = re.compile(r"(?:^<!-- (?P<origin>[^\n]*) -->\n)?^```(?P<language>\w*)\n(?P<text>.*?)^```$", re.S | re.M)


def check(arguments):
    root, document = arguments.root, arguments.document
    text = document.read_text()
    wrong, quoted = [], set()

    def visit(match):
        origin, block = match["origin"], match["text"]
        line = text.count("\n", 0, match.start()) + 1
        if origin is None:
            if match["language"] == "cpp":
                wrong.append(f"{document}:{line}: C++ that nothing compiles")
            return match[0]
        if origin.startswith("output of kvt ") and not arguments.kvt:
            return match[0]
        quoted.add(origin)
        expected = quotation(root, origin, arguments.kvt)
        if expected is None:
            lines = {each.strip() for each in (root / origin.removeprefix("lines of ")).read_text().splitlines()}
            for each in block.splitlines():
                if each.strip() not in lines:
                    wrong.append(f"{document}:{line}: not in {origin.removeprefix('lines of ')}: {each}")
            return match[0]
        if block != expected and not arguments.update:
            wrong.append(f"{document}:{line}: differs from {origin}:\n{block}instead of\n{expected}")
        return text[match.start():match.start("text")] + expected + "```"

    updated = BLOCK.sub(visit, text)
    if arguments.update:
        document.write_text(updated)
    if arguments.folder:
        for program in sorted((root / arguments.folder).glob("*.cpp")):
            name = str(program.relative_to(root))
            if name not in quoted:
                wrong.append(f"{document}: does not quote {name}")
    for link in re.findall(r"\]\((?!https?:|#)([^)#]+)[^)]*\)", BLOCK.sub("", text)):
        if not (document.parent / link).exists():
            wrong.append(f"{document}: leads nowhere: {link}")
    if not quoted:
        wrong.append(f"{document}: quotes nothing")
    return wrong


def output_of(program):
    result = subprocess.run([program], capture_output=True, text=True)
    if result.returncode != 0:
        raise SystemExit(f"{program} ended with status {result.returncode}:\n{result.stdout}{result.stderr}")
    return result.stdout


def comparable(line):
    line = re.sub(r"0x[0-9a-f]+", "ADDRESS", line.rstrip())
    if line.startswith("{\""):
        return json.loads(line)
    return line


def compare(expected, actual, what):
    wrong = []
    for number, (wanted, got) in enumerate(zip(expected, actual), 1):
        if comparable(wanted) != comparable(got):
            wrong.append(f"{what}: line {number} of the output is\n  {got}\ninstead of\n  {wanted}")
    if len(expected) != len(actual):
        wrong.append(f"{what}: {len(actual)} lines of output instead of {len(expected)}")
    return wrong


def run(arguments):
    # A printed line ends with "\n"; the comment behind it says which line it is.
    comments = re.findall(r'\\n";[ \t]*// (.*)$', regions(arguments.source), re.M)
    prints = len(re.findall(r'\\n"', re.sub(r'R"\((.*?)\)"|NSString\(".*?"\)', "", regions(arguments.source), flags=re.S)))
    if not comments or prints != len(comments):
        return [f"{arguments.source}: {prints} lines are printed and {len(comments)} are said"]
    return compare(comments, output_of(arguments.program).splitlines(), arguments.source)


def golden(arguments):
    return compare(arguments.expected.read_text().splitlines(), output_of(arguments.program).splitlines(), arguments.expected)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(required=True)
    command = commands.add_parser("check")
    command.add_argument("root", type=pathlib.Path)
    command.add_argument("document", type=pathlib.Path)
    command.add_argument("--kvt")
    command.add_argument("--folder")
    command.add_argument("--update", action="store_true")
    command.set_defaults(run=check)
    command = commands.add_parser("run")
    command.add_argument("source", type=pathlib.Path)
    command.add_argument("program")
    command.set_defaults(run=run)
    command = commands.add_parser("golden")
    command.add_argument("expected", type=pathlib.Path)
    command.add_argument("program")
    command.set_defaults(run=golden)
    arguments = parser.parse_args()
    wrong = arguments.run(arguments)
    for each in wrong:
        print(each, file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
