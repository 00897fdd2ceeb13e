# SPDX-License-Identifier: MIT
"""kvlink.py says of every call and record of kvlink.h what the header says."""

import ctypes
import os
import re
import sys
import unittest
from pathlib import Path

SOURCE = Path(os.environ["KV_SOURCE_FOLDER"])
sys.path.insert(0, str(SOURCE / "kvlink" / "python"))
import kvlink  # noqa: E402

HEADER = (SOURCE / "kvlink/include/kvlink/kvlink.h").read_text(encoding="utf-8")
CODE = re.sub(r"/\*.*?\*/", "", HEADER, flags=re.S)

# C types of the header, and what they are to ctypes.
PLAIN = {"int": ctypes.c_int, "int32_t": ctypes.c_int32, "uint32_t": ctypes.c_uint32,
         "int64_t": ctypes.c_int64, "uint64_t": ctypes.c_uint64, "size_t": ctypes.c_size_t,
         "double": ctypes.c_double, "kvlink_tag": ctypes.c_uint32}
RECORDS = {"kvlink_link_settings": kvlink._LinkSettings, "kvlink_link_status": kvlink._LinkStatus,
           "kvlink_statistics": kvlink._Statistics, "kvlink_tag_settings": kvlink._TagSettings,
           "kvlink_scalar": kvlink._Scalar, "kvlink_sample": kvlink._Sample,
           "kvlink_write_options": kvlink._WriteOptions, "kvlink_write_result": kvlink._WriteResult,
           "kvlink_event": kvlink._Event}


def squeezed(text):
    return re.sub(r"\s+", " ", text).strip()


def declarations():
    """Name and whole text of every call of the header."""
    found = [squeezed(text) for text in re.findall(r"KVLINK_C_API\s+([^;{]*\([^;{]*\));", CODE)]
    return {re.search(r"(kvlink_\w+)\(", text).group(1): text for text in found}


def ctype(text):
    """What a C type is to ctypes: "const char *" is c_char_p."""
    text = squeezed(text.replace("const", " "))
    stars = text.count("*")
    name = text.replace("*", "").strip()
    if name == "char" and stars > 0:
        return ctypes.c_char_p if stars == 1 else ctypes.POINTER(ctypes.c_char_p)
    if name == "void":
        return None
    if name == "kvlink_plc":
        return ctypes.c_void_p if stars == 1 else ctypes.POINTER(ctypes.c_void_p)
    plain = PLAIN.get(name) or RECORDS[name]
    return plain if stars == 0 else ctypes.POINTER(plain)


def split_parameter(text):
    """Type and name: "const char *url" is ("const char *", "url")."""
    found = re.fullmatch(r"(.*?)(\w+)", text.strip())
    return found.group(1), found.group(2)


def parameters(declaration):
    inside = declaration[declaration.index("(") + 1:declaration.rindex(")")]
    return [] if inside == "void" else [ctype(split_parameter(one)[0]) for one in inside.split(",")]


class Prototypes(unittest.TestCase):
    def test_the_header_was_read(self):
        self.assertGreaterEqual(len(declarations()), 40)
        self.assertIn("kvlink_plc_new", declarations())

    def test_every_call_has_the_types_of_the_header(self):
        library = kvlink._library()
        for name, declaration in declarations().items():
            with self.subTest(name):
                function = getattr(library, name)
                result = declaration[:declaration.index(name)]
                self.assertIs(function.restype, ctype(result))
                self.assertEqual(function.argtypes, parameters(declaration))

    def test_the_declaration_above_each_call_is_the_header_s(self):
        source = Path(kvlink.__file__).read_text(encoding="utf-8")
        shown = re.findall(r'((?:    # .*\n)+)    bind\("(\w+)"', source)
        self.assertEqual({name: squeezed(text.replace("#", "")).rstrip(";") for text, name in shown},
                         declarations())

    def test_every_record_has_the_members_of_the_header(self):
        for name, record in RECORDS.items():
            with self.subTest(name):
                body = re.search(r"typedef struct %s \{(.*?)\} %s;" % (name, name), CODE, re.S).group(1)
                members = []
                for line in filter(None, map(squeezed, body.split(";"))):
                    kind, names = re.fullmatch(r"((?:const )?\w+ \**)(.*)", line).groups()
                    for member in names.split(","):
                        found = re.fullmatch(r"(\w+)(?:\[(\d+)\])?", member.strip())
                        plain = ctype(kind)
                        length = found.group(2)
                        members.append((found.group(1), plain * int(length) if length else plain))
                self.assertEqual(record._fields_, members)

    def test_every_number_is_the_header_s(self):
        numbers = {name: int(value) for name, value in re.findall(r"(KVLINK_\w+) = (-?\d+)", CODE)}
        shown = {name: value for name, value in vars(kvlink).items() if name.startswith("KVLINK_")}
        self.assertGreaterEqual(len(shown), 20)
        self.assertEqual(shown, {name: numbers[name] for name in shown})

    def test_the_version_is_the_header_s(self):
        numbers = dict(re.findall(r"#define KVLINK_VERSION_(MAJOR|MINOR|PATCH) (\d+)", HEADER))
        self.assertEqual(kvlink._VERSION, (int(numbers["MAJOR"]), int(numbers["MINOR"])))
        self.assertEqual(kvlink.version(), "{MAJOR}.{MINOR}.{PATCH}".format(**numbers))


if __name__ == "__main__":
    unittest.main()
