#!/usr/bin/env python3
# zelcfg's INI dialect checked against Python's configparser, file by file.
#
#   ini_reference.py ZELCFG DIR
#
# Every file under DIR (README.md aside) is read twice:
#  - by configparser, as the dialect is defined: RawConfigParser(strict=False,
#    interpolation=None) with optionxform = str, a default section of a name
#    no file uses (so that [DEFAULT] is an ordinary section), the file opened
#    as configparser.read() opens it but with encoding 'utf-8-sig' (a byte
#    order mark is skipped). Entries above the first header, which
#    configparser refuses, are read under a header line put before the
#    file's first line, and that section is then called "";
#  - by `zelcfg list --ini -z FILE` (BLOCK, ENTRY and VALUE, NUL-ended, one
#    triple per entry in file order) and `zelcfg blocks --ini -z FILE`.
# configparser keeps one value per key, the last, at the key's first place,
# and merges the sections of one name; zelcfg lists every entry and every
# section. zelcfg's listing is reduced the same way (a dict per section,
# assigned in file order) before the two are compared: the sections in order,
# each section's keys in order, and every value. A section without entries
# is compared by name only ("" only when it has entries: zelcfg lists it only
# then).
#
# Files under DIR/refused are ones configparser refuses (ParsingError and
# the like): they have no reference reading, so only two things are checked,
# that configparser does refuse them and that zelcfg still lists them.
#
# Every mismatch is printed with the file, the section, the key and both
# values; the exit status is 1 if there is any, 0 otherwise.

import configparser
import itertools
import os
import subprocess
import sys

# Section names that no file here uses: none of their header lines holds NUL.
ABOVE_FIRST_HEADER = "\0above the first header"
NO_DEFAULT_SECTION = "\0no default section"


def reference(path):
    """configparser's reading: a list of (section, [(key, value)])."""
    parser = configparser.RawConfigParser(strict=False, interpolation=None,
                                          default_section=NO_DEFAULT_SECTION)
    parser.optionxform = str
    with open(path, encoding="utf-8-sig") as lines:
        parser.read_file(itertools.chain(["[" + ABOVE_FIRST_HEADER + "]\n"], lines), path)
    reading = []
    for section in parser.sections():
        entries = [(key, parser.get(section, key, raw=True)) for key in parser.options(section)]
        if section == ABOVE_FIRST_HEADER:
            if entries:
                reading.append(("", entries))
        else:
            reading.append((section, entries))
    return reading


def run_zelcfg(zelcfg, command, path):
    """zelcfg COMMAND --ini -z PATH's NUL-ended fields, or an error text."""
    result = subprocess.run([zelcfg, command, "--ini", "-z", path],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if result.returncode != 0:
        return None, "zelcfg %s exits %d: %s" % (command, result.returncode,
                                                 result.stderr.decode("utf-8", "replace").strip())
    fields = result.stdout.split(b"\0")
    if fields[-1] != b"":
        return None, "zelcfg %s: output does not end with NUL" % command
    try:
        return [field.decode("utf-8") for field in fields[:-1]], None
    except UnicodeDecodeError as error:
        return None, "zelcfg %s: output is not UTF-8: %s" % (command, error)


def zelcfg_reading(zelcfg, path):
    """zelcfg's listing reduced as configparser reads: a list of
    (section, [(key, value)]), or None and an error text."""
    fields, error = run_zelcfg(zelcfg, "list", path)
    if error:
        return None, error
    if len(fields) % 3:
        return None, "zelcfg list: %d fields, not triples" % len(fields)
    sections = {}
    for index in range(0, len(fields), 3):
        block, entry, value = fields[index:index + 3]
        # A dict keeps a key at its first place and takes its last value.
        sections.setdefault(block, {})[entry] = value
    names, error = run_zelcfg(zelcfg, "blocks", path)
    if error:
        return None, error
    for name in names:
        sections.setdefault(name, {})
    order = list(dict.fromkeys(names + list(sections)))
    return [(name, list(sections[name].items())) for name in order], None


def compare(path, expected, got):
    """The differences between configparser's reading and zelcfg's, one
    line each."""
    problems = []
    expected_names = [name for name, _ in expected]
    got_names = [name for name, _ in got]
    if expected_names != got_names:
        problems.append("%s: sections: configparser %r, zelcfg %r" % (path, expected_names, got_names))
    got_sections = dict(got)
    for section, entries in expected:
        if section not in got_sections:
            continue
        got_entries = dict(got_sections[section])
        for key, value in entries:
            if key not in got_entries:
                problems.append("%s: [%s] %r: configparser %r, zelcfg has no such key"
                                % (path, section, key, value))
            elif got_entries[key] != value:
                problems.append("%s: [%s] %r: configparser %r, zelcfg %r"
                                % (path, section, key, value, got_entries[key]))
        keys = dict(entries)
        for key, value in got_sections[section]:
            if key not in keys:
                problems.append("%s: [%s] %r: configparser has no such key, zelcfg %r"
                                % (path, section, key, value))
        common = [key for key, _ in entries if key in got_entries]
        got_common = [key for key, _ in got_sections[section] if key in keys]
        if common != got_common:
            problems.append("%s: [%s] key order: configparser %r, zelcfg %r"
                            % (path, section, common, got_common))
    return problems


def refusal(error):
    """Why configparser refused a file, with the file's own line numbers
    (configparser counts the header line put before the first)."""
    if isinstance(error, configparser.ParsingError):
        return "ParsingError: " + ", ".join("line %d: %s" % (number - 1, line)
                                            for number, line in error.errors)
    return "%s: %s" % (type(error).__name__, str(error).replace("\n", " | "))


def check_file(zelcfg, path, refused):
    """The problems found in one file, and a word on what was checked."""
    try:
        expected = reference(path)
        parse_error = None
    except (configparser.Error, UnicodeDecodeError) as error:
        expected = None
        parse_error = refusal(error)
    got, error = zelcfg_reading(zelcfg, path)
    if refused:
        problems = []
        if parse_error is None:
            problems.append("%s: configparser reads it: move it out of refused/" % path)
        if error:
            problems.append("%s: %s" % (path, error))
        return problems, "refused by configparser (%s)" % parse_error
    if parse_error:
        return ["%s: configparser refuses it: %s" % (path, parse_error)], ""
    if error:
        return ["%s: %s" % (path, error)], ""
    entries = sum(len(entries) for _, entries in expected)
    return compare(path, expected, got), "%d sections, %d keys" % (len(expected), entries)


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: ini_reference.py ZELCFG DIR\n")
        return 2
    zelcfg, top = argv[1], argv[2]
    paths = []
    for directory, subdirectories, files in os.walk(top):
        subdirectories.sort()
        paths += [os.path.join(directory, name) for name in sorted(files) if name != "README.md"]
    if not paths:
        sys.stderr.write("ini_reference.py: no file under %s\n" % top)
        return 2
    refused_dir = os.path.join(top, "refused") + os.sep
    failed = 0
    for path in paths:
        problems, note = check_file(zelcfg, path, path.startswith(refused_dir))
        name = os.path.relpath(path, top)
        if problems:
            failed += 1
            print("FAIL %s" % name)
            for problem in problems:
                print("  " + problem)
        else:
            print("ok   %s: %s" % (name, note))
    print("%d passed, %d failed" % (len(paths) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
