"""Expects of nuvrusb.exe that it can be copied anywhere, and of the package that everything is in it.

check_package.py EMULATOR PROGRAM REPOSITORY OBJDUMP
"""

import os
import posixpath
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile

import wine_process

EMULATOR = PROGRAM = REPOSITORY = OBJDUMP = ""
LIMIT = 60  # seconds: everything here takes far less
LARGEST = 4_000_000  # bytes of the program: it has to be smaller

# Libraries that every Windows 10 has, in its own folder.
OF_WINDOWS = {"advapi32.dll", "cfgmgr32.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "ole32.dll", "setupapi.dll",
              "shell32.dll", "user32.dll"}


class Program(unittest.TestCase):
    def test_is_small(self):
        self.assertLess(os.path.getsize(PROGRAM), LARGEST)

    def test_needs_only_what_windows_has(self):
        listed = subprocess.run([OBJDUMP, "-p", PROGRAM], capture_output=True, text=True, check=True).stdout
        libraries = {name.lower() for name in re.findall(r"^\s*DLL Name: (\S+)", listed, re.MULTILINE)}
        self.assertIn("kernel32.dll", libraries)  # else the list is not what it is taken for
        self.assertLessEqual(libraries, OF_WINDOWS)

    def test_carries_its_version_and_its_manifest(self):
        with open(PROGRAM, "rb") as stream:
            program = stream.read()
        for text in ("ProductVersion", "6.5 build 000000001", "FileVersion"):
            self.assertIn(text.encode("utf-16-le"), program, text)
        manifest = re.search(rb"<assembly .*?</assembly>", program, re.DOTALL).group().decode()
        for wanted in ('level="asInvoker"', ">true</longPathAware>", ">UTF-8</activeCodePage>",
                       "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"):  # the last is Windows 10 and 11
            self.assertIn(wanted, manifest)

    def test_is_a_64_bit_console_program(self):
        listed = subprocess.run([OBJDUMP, "-f", "-p", PROGRAM], capture_output=True, text=True, check=True).stdout
        self.assertIn("file format pei-x86-64", listed)
        self.assertIn("(Windows CUI)", listed)


def expected_files():
    """The names of the package, and the files of the repository that they are; of the program there is none."""
    files = {"nuvrusb.exe": None}
    files |= {name: name for name in ("README.md", "ARCHITECTURE.md", "CONTRIBUTING.md", "CHANGELOG.md")}
    for folder, endings in (("docs", (".md", ".json")), ("machines", (".json",))):
        for name in os.listdir(os.path.join(REPOSITORY, folder)):
            if name.endswith(endings):
                files[f"{folder}/{name}"] = os.path.join(folder, name)
    return files


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        os.chmod(cls.folder.name, 0o777)  # root's programs run as another user
        archive = os.path.join(cls.folder.name, "package.zip")
        packed = subprocess.run([os.path.join(REPOSITORY, "scripts", "package-windows"), PROGRAM, archive],
                                capture_output=True, text=True, timeout=LIMIT)
        if packed.returncode != 0:
            raise AssertionError(packed.stderr)
        cls.unpacked = os.path.join(cls.folder.name, "Ger\u00e4te \u4e2d\u6587 \U0001f600")
        with zipfile.ZipFile(archive) as contents:
            cls.names = [entry.filename for entry in contents.infolist() if not entry.is_dir()]
            contents.extractall(cls.unpacked)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def path(self, *parts):
        return os.path.join(self.unpacked, "nuvrusb", *parts)

    def test_has_the_program_documents_and_described_pcs_and_nothing_else(self):
        self.assertEqual(sorted(self.names), sorted(f"nuvrusb/{name}" for name in expected_files()))
        for name, source in expected_files().items():
            with open(self.path(name), "rb") as packed:
                with open(os.path.join(REPOSITORY, source) if source else PROGRAM, "rb") as original:
                    self.assertEqual(packed.read(), original.read(), name)

    def test_documents_refer_to_nothing_that_is_missing(self):
        links = {}
        for name in filter(lambda name: name.endswith(".md"), expected_files()):
            with open(self.path(name), encoding="utf-8") as stream:
                links[name] = [link for link in re.findall(r"\]\(([^)#]+)[^)]*\)", stream.read()) if "://" not in link]
            for link in links[name]:
                packed = posixpath.normpath(posixpath.join("nuvrusb", posixpath.dirname(name), link))
                self.assertIn(packed, self.names, f"{name}: {link}")
        self.assertIn("ARCHITECTURE.md", links["README.md"])  # else the list is not what it is taken for

    def run_copy(self, *arguments):
        return wine_process.run([EMULATOR, self.path("nuvrusb.exe"), *arguments], cwd=self.path(), timeout=LIMIT,
                                stdin=subprocess.DEVNULL, env={**os.environ, "LANG": "C"})

    def test_unpacked_program_starts(self):
        said = self.run_copy("--version")
        self.assertEqual((said.returncode, said.stdout, said.stderr), (0, b"nuvrusb 6.5 build 000000001\n", b""))

    def test_unpacked_program_finds_the_described_pcs_beside_it(self):
        for file in ("machines\\findings.json", self.path("machines", "findings.json")):
            with self.subTest(file):
                listed = self.run_copy("topology", "--machine", file)
                self.assertEqual((listed.returncode, listed.stderr), (0, b""))
                with open(os.path.join(REPOSITORY, "tests", "cli", "golden", "topology-findings.txt"), "rb") as golden:
                    self.assertEqual(listed.stdout, golden.read())


if __name__ == "__main__":
    EMULATOR, PROGRAM, REPOSITORY, OBJDUMP = (os.path.abspath(sys.argv.pop(1)) for _ in range(4))
    unittest.main()
