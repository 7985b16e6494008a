#!/usr/bin/env python3
"""Whether cmake/check-tidy notices what it is there for, in a small tree of its own: tests/house/tidy_test.py"""
import importlib.machinery
import importlib.util
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parents[2]
FAULT = "inline bool sameAs( int a )\n{\n    return a == a;\n}\n"
FAULT_NAME = "misc-redundant-expression"


class Tidy(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        for name in ("cmake/check-tidy", ".clang-tidy", "tests/.clang-tidy"):
            (self.root / name).parent.mkdir(exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        self.flags = "-Wall -Werror -Wno-stringop-overflow -std=c++20"
        self.sources = []
        self.write("platform/VXMesh/Text.h", "#pragma once\n#include <VXMesh/Letters.h>\n")
        self.write("platform/VXMesh/Letters.h", "#pragma once\nint letters();\n")
        self.add("platform/VXMesh/Text.cpp", '#include "Text.h"\nint letters()\n{\n    return 26;\n}\n')
        self.add("app/main.cpp", "int main()\n{\n    return 0;\n}\n")

    def write(self, name: str, text: str) -> None:
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def add(self, name: str, text: str) -> None:
        self.write(name, text)
        self.sources.append(name)

    def check(self, *arguments: str, **environment: str) -> tuple[int, str]:
        compiled = [{"directory": str(self.root / "build"), "file": str(self.root / name),
                     "command": f"/usr/bin/c++ -I{self.root}/platform -I{self.root}/build/include {self.flags} "
                                f"-o {name}.o -c {self.root / name}"} for name in self.sources]
        self.write("build/compile_commands.json", json.dumps(compiled))
        run = subprocess.run([sys.executable, self.root / "cmake/check-tidy", *arguments, self.root / "build"], text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, env=os.environ | environment)
        return run.returncode, run.stdout

    def assert_sound(self, before: int, now: int) -> None:
        status, said = self.check()
        self.assertIn(f"{before} as they have passed, {now} pass now, 0 fail", said)
        self.assertEqual(status, 0)

    def assert_fault(self, place: str, name: str) -> None:
        for _ in range(2):  # what has not passed is looked at again
            status, said = self.check()
            self.assertRegex(said, rf"{re.escape(place)}:.*\[{re.escape(name)}")
            self.assertEqual(status, 1)

    def test_sound_tree_is_looked_at_once(self):
        self.assert_sound(0, 2)
        self.assert_sound(2, 0)

    def test_fault_in_a_source(self):
        self.add("app/Same.cpp", FAULT)
        self.assert_fault("app/Same.cpp:3", FAULT_NAME)

    def test_fault_in_a_header(self):
        self.write("platform/VXMesh/Letters.h", "#pragma once\nint letters();\n" + FAULT)
        self.assert_fault("platform/VXMesh/Letters.h:5", FAULT_NAME)

    def test_fault_in_a_header_of_the_product(self):
        self.write("source/shell/Same.h", "#pragma once\n" + FAULT)
        (self.root / "build/include").mkdir(parents=True)
        (self.root / "build/include/VXOrvanta").symlink_to(self.root / "source")
        self.add("app/Shell.cpp", "#include <VXOrvanta/shell/Same.h>\n")
        self.assert_fault("VXOrvanta/shell/Same.h:4", FAULT_NAME)

    def test_fault_that_only_the_analyzer_sees(self):
        fault = "int first( bool has )\n{\n    const int one = 1;\n    const int* at = has ? &one : nullptr;\n    return *at;\n}\n"
        self.add("app/First.cpp", fault)
        self.assert_fault("app/First.cpp:5", "clang-analyzer-core.NullDereference")

    def test_source_that_clang_cannot_read(self):
        self.add("app/Broken.cpp", "#include <VXMesh/Gone.h>\n")
        self.assert_fault("app/Broken.cpp:1", "clang-diagnostic-error")

    def test_changed_header_has_what_includes_it_looked_at(self):
        self.assert_sound(0, 2)
        self.write("platform/VXMesh/Letters.h", "#pragma once\nint letters();\nint more();\n")
        self.assert_sound(1, 1)
        self.write("platform/VXMesh/Letters.h", "#pragma once\nint letters();\n" + FAULT)
        status, said = self.check()
        self.assertIn(FAULT_NAME, said)
        self.assertEqual(status, 1)

    def test_changed_flags_and_rules_have_all_looked_at(self):
        self.assert_sound(0, 2)
        self.flags += " -DMORE"
        self.assert_sound(0, 2)
        rules = (self.root / ".clang-tidy").read_text(encoding="utf-8")
        self.write(".clang-tidy", rules.replace("-performance-enum-size,", "-performance-enum-size,\n  -performance-avoid-endl,"))
        self.assert_sound(0, 2)

    def test_changed_rules_of_a_folder_have_it_looked_at(self):
        self.add("tests/app/main_test.cpp", "int test();\n")
        self.assert_sound(0, 3)
        self.write("tests/.clang-tidy", "---\nInheritParentConfig: true\nChecks: '-bugprone-*'\n...\n")
        self.assert_sound(2, 1)

    def test_header_that_another_compiler_has_precompiled(self):
        self.write("build/cmake_pch.hxx", "int precompiled();\n")
        self.write("build/cmake_pch.hxx.gch", "gpch")
        self.flags += f" -Winvalid-pch -include {self.root}/build/cmake_pch.hxx"
        self.add("app/Uses.cpp", "int uses()\n{\n    return precompiled();\n}\n")
        self.assert_sound(0, 3)
        self.write("build/cmake_pch.hxx", "int precompiled();\nint more();\n")
        self.assert_sound(0, 3)

    def test_no_time_at_all(self):
        self.add("app/Same.cpp", FAULT)
        status, said = self.check("--seconds", "0")
        self.assertIn("0 pass now, 0 fail\n3 of 3 files not looked at this time\n", said)
        self.assertEqual(status, 0)

    def test_nothing_to_look_at_is_no_pass(self):
        self.sources = []
        status, said = self.check()
        self.assertIn("compiles no source", said)
        self.assertEqual(status, 1)

    def test_without_the_program(self):
        status, said = self.check(PATH="/nowhere")
        self.assertEqual((status, said), (1, "clang-tidy-19 is missing: ./packaging/install-packages test\n"))

    def test_what_the_last_commit_changed_comes_first(self):
        for i in range(50):
            self.add(f"app/Other{i}.cpp", "int other();\n")
        for name in ("platform/VXMesh/Text.cpp", "platform/VXMesh/Letters.h"):
            self.commit()
            self.write(name, (self.root / name).read_text(encoding="utf-8") + "int added();\n")
        self.commit()
        self.assertEqual(self.order()[0], "platform/VXMesh/Text.cpp")  # includes the header
        self.write("app/Other7.cpp", "int another();\n")
        self.assertEqual(self.order()[:2], ["app/Other7.cpp", "platform/VXMesh/Text.cpp"])

    def commit(self) -> None:
        who = ["-c", "user.name=somebody", "-c", "user.email=somebody@example.org", "-c", "commit.gpgsign=false"]
        for words in (["init", "-q"], ["add", "-A", "app", "platform"], [*who, "commit", "-q", "-m", "Change"]):
            subprocess.run(["git", "-C", self.root, *words], check=True)

    def order(self) -> list[str]:
        self.check("--seconds", "0")
        loader = importlib.machinery.SourceFileLoader("check_tidy", str(self.root / "cmake/check-tidy"))
        module = importlib.util.module_from_spec(importlib.util.spec_from_loader("check_tidy", loader))
        sys.modules["check_tidy"] = module
        self.addCleanup(sys.modules.pop, "check_tidy", None)
        loader.exec_module(module)
        sources, headers = module.sources_in(self.root / "build", list(module.FOLDERS)), module.Headers()
        for source in sources:
            source.parts = headers.reached(source)
        return [source.name for source in module.in_order(sources)]


if __name__ == "__main__":
    unittest.main()
