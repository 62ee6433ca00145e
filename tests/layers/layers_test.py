#!/usr/bin/env python3
"""Holds every #include "..." of the product, the rig and the command line, and README.md, to cmake/Layers.cmake.

Usage: layers_test.py TOP_OF_THE_TREE
"""
import pathlib
import re
import sys
import unittest

TOP = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")


def layers(name):
    """One list of folders, from top to bottom."""
    listed = re.search(rf"set\({name} ([^)]*)\)", (TOP / "cmake/Layers.cmake").read_text())
    return listed.group(1).split()


PRODUCT = layers("PCIINFO_PRODUCT_LAYERS")
RIG = layers("PCIINFO_RIG_LAYERS")


def sources(folder):
    return sorted(path for path in (TOP / folder).rglob("*") if path.suffix in (".h", ".cpp"))


def includes(path):
    """The texts between the quotes, and between the angle brackets what begins like a folder of ours."""
    return re.findall(r'^\s*#\s*include\s+["<]([^">]+)[">]', path.read_text(), re.M)


def quoted(path):
    return re.findall(r'^\s*#\s*include\s+"([^"]+)"', path.read_text(), re.M)


class Layers(unittest.TestCase):
    def test_are_all_there_are(self):
        """Each has sources, and no folder beside them has any but cmpi, the tests and the measurements."""
        for folder in PRODUCT + RIG:
            self.assertTrue(sources(folder), folder)
        ours = {folder.split("/")[0] for folder in PRODUCT + RIG} | {"cmpi", "tests", "bench"}
        others = [path for path in TOP.iterdir()
                  if path.is_dir() and path.name not in ours | {"build"} and not path.name.startswith(".")]
        self.assertEqual([str(path) for other in others for path in sources(other.name)], [])
        self.assertEqual({f"rig/{path.name}" for path in (TOP / "rig").iterdir() if path.is_dir()},
                         {folder for folder in RIG if folder.startswith("rig/")})

    def test_include_only_what_is_under_them(self):
        for folders in (PRODUCT, RIG):
            for number, folder in enumerate(folders):
                allowed = {pathlib.Path(lower).name for lower in folders[number:]} | {"cmpi"}
                for path in sources(folder):
                    for name in quoted(path):
                        with self.subTest(file=str(path), includes=name):
                            self.assertIn(name.split("/")[0], allowed | {"schema_texts", "page_texts"})

    def test_use_of_each_other_is_by_quotes_alone(self):
        """An include in angle brackets would go round the list, but for cmpi, whose headers another set may replace."""
        names = {pathlib.Path(folder).name for folder in PRODUCT + RIG}
        for folder in PRODUCT + RIG:
            for path in sources(folder):
                for name in set(includes(path)) - set(quoted(path)):
                    with self.subTest(file=str(path), includes=name):
                        self.assertNotIn(name.split("/")[0], names)

    def test_product_needs_no_library(self):
        """Standard C++ and Linux's C interfaces: nothing that a Debian package other than the C library's has."""
        libraries = ("fmt/", "CLI/", "nlohmann/", "pugixml", "expat", "microhttpd", "utf8", "gtest", "gmock")
        for folder in PRODUCT:
            for path in sources(folder):
                for name in includes(path):
                    with self.subTest(file=str(path), includes=name):
                        self.assertFalse(name.startswith(libraries))

    def test_stand_in_the_readme_in_this_order(self):
        rows = re.findall(r"^\| `([a-z/]+)/` \|", (TOP / "README.md").read_text(), re.M)
        self.assertEqual([row for row in rows if row in PRODUCT], PRODUCT)
        self.assertEqual([row for row in rows if row in RIG], RIG)


if __name__ == "__main__":
    unittest.main()
