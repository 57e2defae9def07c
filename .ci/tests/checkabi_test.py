"""Tests that .ci/check-abi.sh refuses what breaks programs, and nothing else, with a library of its own.

Usage: checkabi_test.py GATES [ARGUMENT...]

GATES is the folder of the scripts, .ci. The other arguments are unittest's. Exits with 77 without abidiff or g++.
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

GATES = pathlib.Path(sys.argv.pop(1))

# Has its content elsewhere, as Qt's containers have it: what it holds cannot be reached from it.
BOX = "template <typename T> struct Box { void *content; };"

HEADER = """\
#ifndef SHAPES_H
#define SHAPES_H
#include <box.h>
namespace Shapes {
enum class Color { Red, Green };
struct Guess
{
    int number = 0;
    Color color = Color::Red;
};
/// Only its name is used.
struct Unit { short number; };
class Shape
{
public:
    Shape();
    virtual ~Shape();
    virtual int first() const;
    virtual int second() const;

private:
    enum class Inner { One };
    struct Private;
    Private *d;
};
Box<Guess> guesses();
int count(Box<Unit>);
int total();
} // namespace Shapes
#endif
"""

SOURCE = """\
#include <shapes.h>
namespace Shapes {
struct Shape::Private { int number; };
Shape::Shape() : d(new Private) {}
Shape::~Shape() { delete d; }
int Shape::first() const { return d->number; }
int Shape::second() const { return 2; }
Box<Guess> guesses() { return {new Guess}; }
int count(Box<Unit>) { return 1; }
int total() { return 2; }
}
"""

# Each is a list of replacements in the header and the source.
COMPATIBLE = {
    "nothing": [],
    "a function is added": [("int total();", "int total();\nint more();"),
                            ("int total() {", "int more() { return 3; }\nint total() {")],
    "an enumerator is added": [("Red, Green", "Red, Green, Blue")],
    "a type is added": [("struct Unit", "struct More { int number; };\nstruct Unit")],
    "a private part has another layout": [("Private { int number;", "Private { long other; int number;")],
}
BREAKS = {
    "a member is added before those of Guess": [("    int number = 0;", "    long before = 0;\n    int number = 0;")],
    "a member is added after those of Guess": [("= Color::Red;", "= Color::Red;\n    int after = 0;")],
    "a member of Guess has another type": [("int number = 0;", "unsigned number = 0;")],
    "two members of Guess are swapped": [("int number = 0;\n    Color color = Color::Red;",
                                          "Color color = Color::Red;\n    int number = 0;")],
    "a type that only templates name has another size": [("short number", "long number")],
    "a type has another alignment": [("struct Unit", "struct alignas(16) Unit")],
    "a virtual function is inserted": [("    virtual int first", "    virtual int zero() const;\n    virtual int first"),
                                       ("int Shape::first", "int Shape::zero() const { return 0; }\nint Shape::first")],
    "a virtual function is added": [("second() const;", "second() const;\n    virtual int third() const;"),
                                    ("int Shape::second", "int Shape::third() const { return 3; }\nint Shape::second")],
    "a symbol is removed": [("int total();", ""), ("int total() { return 2; }", "")],
    "a parameter has another type": [("count(Box<Unit>)", "count(Box<Guess>)")],
    "an enumerator has another value": [("Red, Green", "Blue, Red, Green")],
    "an enumeration has another size": [("enum class Color", "enum class Color : char")],
    "a private enumerator has another value": [("One", "One = 1")],
    "a type is removed": [("/// Only its name is used.\nstruct Unit { short number; };", "struct Unit;")],
}


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


class CheckAbi(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = pathlib.Path(work.name)
        self.released = self.dumped("released", [])
        subprocess.run(["xz", *self.released.glob("*.abi")], check=True)

    def dumped(self, name, changes):
        """The folder with the dumps of the library after changes."""
        folder = self.work / name
        (folder / "include").mkdir(parents=True)
        header, source = HEADER, SOURCE
        for before, after in changes:
            self.assertIn(before, header + source)
            header, source = header.replace(before, after), source.replace(before, after)
        (folder / "include" / "shapes.h").write_text(header)
        (folder / "shapes.cpp").write_text(source)
        (folder / "box.h").write_text(BOX)
        library = folder / "libshapes.so"
        subprocess.run(["g++", "-std=c++17", "-g", "-O1", "-shared", "-fPIC", f"-I{folder}",
                        f"-I{folder}/include", "-o", library, folder / "shapes.cpp"], check=True)
        dumps = folder / "dumps"
        dumps.mkdir()
        dump = run(GATES / "dump-abi.sh", dumps, library, folder / "include", f"-I{folder}")
        self.assertEqual(dump.returncode, 0, dump.stderr)
        self.assertEqual(len(list(dumps.glob("*.abi"))), 2)
        return dumps

    def checked(self, new):
        return run(GATES / "check-abi.sh", self.released, new)

    def test_accepts_what_breaks_nothing(self):
        for name, changes in COMPATIBLE.items():
            with self.subTest(name):
                check = self.checked(self.dumped(name, changes))
                self.assertEqual(check.returncode, 0, check.stdout + check.stderr)
                self.assertIn("check-abi: 2 dumps", check.stdout)

    def test_refuses_what_breaks_programs(self):
        for name, changes in BREAKS.items():
            with self.subTest(name):
                check = self.checked(self.dumped(name, changes))
                self.assertEqual(check.returncode, 1, check.stdout)
                self.assertIn("breaks programs", check.stderr)

    def test_refuses_a_library_that_is_gone(self):
        empty = self.work / "empty"
        empty.mkdir()
        self.assertNotEqual(self.checked(empty).returncode, 0)

    def test_says_what_it_cannot_compare(self):
        new = self.dumped("new", [])
        shutil.copy(new / "libshapes.abi", new / "libother.abi")
        check = self.checked(new)
        self.assertEqual(check.returncode, 1)
        self.assertIn("no release has libother.abi to compare with", check.stderr)


if __name__ == "__main__":
    if not all(map(shutil.which, ("abidiff", "abidw", "g++", "xz"))):
        print("abidiff is missing")
        sys.exit(77)
    unittest.main()
