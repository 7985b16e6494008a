#!/usr/bin/env python3
"""Each fault that house.py looks for, planted into a small tree, is found by it: tests/house/house_test.py"""
import pathlib
import subprocess
import tempfile
import unittest

import examples
import house

PAGE = """
platform/VXViewer/
  loop/ core/ scene/ ribbon/ tools/
platform/VXMesh/
  io/ scene/ formats/
"""


class House(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        subprocess.run(["git", "init", "-q", self.root], check=True)
        self.write("docs/architecture.md", PAGE)
        self.write("platform/VXMesh/io/Text.h", "#pragma once\n")
        self.write("platform/VXMesh/scene/Object.h", "#include <VXMesh/io/Text.h>\n#include <vector>\n")
        self.write("platform/VXViewer/loop/Wake.h", "#pragma once\n")
        self.write("platform/VXViewer/core/Viewer.h", "#include <VXMesh/scene/Object.h>\n#include <VXViewer/loop/Wake.h>\n")

    def write(self, name: str, text: str) -> None:
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def problems(self) -> list[str]:
        return house.problems_of(house.Tree(self.root))

    def test_sound_tree_has_none(self):
        self.assertEqual(self.problems(), [])

    def test_include_of_a_storey_above(self):
        self.write("platform/VXViewer/loop/Wake.h", "#pragma once\n#include <VXViewer/core/Viewer.h>\n")
        self.assertIn("platform/VXViewer/loop/Wake.h:2: platform/VXViewer/loop includes platform/VXViewer/core, "
                      "which stands above it", self.problems())

    def test_header_that_too_many_include(self):
        for i in range(30):
            room = "core" if i < 20 else "tools"
            self.write(f"platform/VXViewer/{room}/Part{i}.cpp", "#include <VXViewer/core/Viewer.h>\n")
        self.assertEqual(self.problems(), [])
        self.write("platform/VXViewer/tools/Part30.cpp", "#include <VXViewer/core/Viewer.h>\n")
        self.assertEqual(self.problems(), ["platform/VXViewer/core/Viewer.h is included by 31 files, at most 30"])

    def test_include_of_a_module_above(self):
        self.write("source/deferred/Future.h", "#pragma once\n")
        self.write("platform/VXMesh/io/Text.h", "#pragma once\n#include <VXViewer/loop/Wake.h>\n")
        self.write("platform/VXViewer/loop/Wake.h", "#include <VXOrvanta/deferred/Future.h>\n")
        found = self.problems()
        self.assertIn("platform/VXMesh/io/Text.h:2: platform/VXMesh/io includes platform/VXViewer/loop, which stands above it",
                      found)
        self.assertIn("platform/VXViewer/loop/Wake.h:1: platform/VXViewer/loop includes source/deferred, "
                      "which stands above it", found)

    def test_folders_in_a_circle(self):
        self.write("backend/http/Server.h", '#include "work/Threads.h"\n')
        self.write("backend/work/Threads.h", '#include "tls/Key.h"\n')
        self.write("backend/tls/Key.h", '#include "http/Server.h"\n')
        self.write("docs/architecture.md", PAGE + "backend/\n  http/ work/ tls/\n")
        self.assertEqual(self.problems(), ["folders include each other: "
                                           "backend/http -> backend/work -> backend/tls -> backend/http"])

    def test_circle_of_one_storey(self):
        self.write("platform/VXViewer/scene/Cache.h", "#include <VXViewer/menu/Menu.h>\n")
        self.write("platform/VXViewer/menu/Menu.h", "#include <VXViewer/scene/Cache.h>\n")
        self.write("docs/architecture.md", PAGE.replace("core/", "core/ menu/"))
        self.assertEqual(len([problem for problem in self.problems() if "each other" in problem]), 1)

    def test_include_that_stands_nowhere(self):
        self.write("platform/VXViewer/core/Viewer.h", "\n#include <VXViewer/core/Gone.h>\n")
        self.assertEqual(self.problems(), ["platform/VXViewer/core/Viewer.h:2: platform/VXViewer/core/Gone.h stands nowhere"])

    def test_circle_through_the_folder_of_a_module_itself(self):
        self.write("app/Arguments.h", '#include "open/Opener.h"\n')
        self.write("app/open/Opener.h", '#include "Arguments.h"\n')
        self.write("docs/architecture.md", PAGE + "app/\n  open/\n")
        self.assertEqual(self.problems(), ["folders include each other: app -> app/open -> app"])

    def test_circle_of_tests(self):
        self.write("tests/support/Fixture.h", '#include "support/ui/Text.h"\n')
        self.write("tests/support/ui/Text.h", '#include "Frames.h"\n#include <VXViewer/core/Viewer.h>\n')
        self.write("tests/support/ui/Frames.h", "#pragma once\n")
        self.assertEqual(self.problems(), [])
        self.write("tests/support/ui/Frames.h", '#include "support/Fixture.h"\n')
        self.assertEqual(self.problems(), ["folders include each other: "
                                           "tests/support -> tests/support/ui -> tests/support"])

    def test_quoted_include_that_stands_nowhere(self):
        self.write("tests/support/Fixture.h", "#pragma once\n")
        self.write("backend/http/Server.h", "#pragma once\n")
        self.write("docs/architecture.md", PAGE + "backend/\n  http/\n")
        found = '#include "support/Fixture.h"\n#include "http/Server.h"\n#include "site/Page.h"\n#include "Places.h"\n'
        for name in ["tests/http/server_test.cpp", "benchmarks/server.cpp"]:
            self.write(name, found)
        self.write("tests/CMakeLists.txt", "file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/include/Places.h CONTENT 1)\n")
        self.write("backend/CMakeLists.txt", 'foreach(pair "site/page.html:Page:cPage")\n')
        self.assertEqual(self.problems(), [])
        self.write("backend/http/Server.h", '#include "http/Gone.h"\n#include "support/Fixture.h"\n#include "Places.h"\n')
        self.write("tests/http/server_test.cpp", found + '#include "Gone.h"\n')
        self.write("benchmarks/server.cpp", found + '#include "http/Serve.h"\n')
        self.assertEqual(self.problems(), [
            "backend/http/Server.h:1: http/Gone.h stands nowhere",
            "backend/http/Server.h:2: support/Fixture.h stands nowhere",
            "backend/http/Server.h:3: Places.h stands nowhere",
            "benchmarks/server.cpp:5: http/Serve.h stands nowhere",
            "tests/http/server_test.cpp:5: Gone.h stands nowhere"])

    def test_module_that_includes_tests(self):
        self.write("tests/support/Fixture.h", "#pragma once\n")
        self.write("app/main.cpp", '#include "../tests/support/Fixture.h"\n')
        self.assertEqual(self.problems(), ["app/main.cpp:1: app includes tests/support, which stands above it"])

    def test_folder_without_a_storey_and_without_a_word(self):
        self.write("platform/VXViewer/odds/Ends.h", "#pragma once\n")
        self.assertEqual(self.problems(), ["platform/VXViewer/odds stands in no storey",
                                           "docs/architecture.md does not name platform/VXViewer/odds"])

    def test_public_headers(self):
        self.write("platform/VXMesh/CMakeLists.txt", "set(VXMESH_HEADERS\n    io/Text.h\n    scene/Object.h io/Gone.h)\n")
        self.write("cmake/VXOrvantaConfig.cmake.in", "pkg_check_modules(jsoncpp REQUIRED)\n")
        self.write("platform/VXMesh/io/Text.h", "#include <string>\n#include <json/value.h>\n#include <imgui.h>\n"
                                                "#include <sys/mman.h>\n#include <curl/curl.h>\n")
        self.write("platform/VXMesh/scene/Object.h", "#include <VXMesh/io/Text.h>\n#include <VXMesh/scene/Cache.h>\n"
                                                     "/// A node.\n///\n///     Object object;\nclass Object;\n")
        self.write("platform/VXMesh/scene/Cache.h", "#pragma once\n")
        self.assertEqual(house.public_headers(self.root), {"VXMesh/io/Text.h": "platform/VXMesh/io/Text.h",
                                                           "VXMesh/scene/Object.h": "platform/VXMesh/scene/Object.h",
                                                           "VXMesh/io/Gone.h": "platform/VXMesh/io/Gone.h"})
        begin = "a public header includes"
        self.assertEqual(self.problems(), [
            f"platform/VXMesh/io/Text.h:3: {begin} imgui.h, which its users do not get",
            f"platform/VXMesh/io/Text.h:4: {begin} sys/mman.h, which its users do not get",
            f"platform/VXMesh/io/Text.h:5: {begin} curl/curl.h, which its users do not get",
            f"platform/VXMesh/scene/Object.h:2: {begin} VXMesh/scene/Cache.h, which its users do not get",
            "platform/VXMesh/io/Gone.h is public and stands nowhere"])

    def test_library_that_the_package_finds(self):
        self.write("platform/VXMesh/CMakeLists.txt", "set(VXMESH_HEADERS\n    io/Text.h)\n")
        self.write("platform/VXMesh/io/Text.h", "#include <imgui.h>\n#include <tl/expected.hpp>\n")
        self.write("cmake/VXOrvantaConfig.cmake.in", "find_dependency(tl-expected)\n")
        self.assertEqual(self.problems(), ["platform/VXMesh/io/Text.h:1: a public header includes imgui.h, "
                                           "which its users do not get"])
        self.write("cmake/VXOrvantaConfig.cmake.in", "find_dependency(tl-expected)\n"
                                                     "find_path(VXOrvanta_IMGUI_INCLUDE_DIR imgui.h REQUIRED)\n")
        self.assertEqual(self.problems(), [])

    def test_installed_headers(self):
        self.write("platform/VXMesh/CMakeLists.txt", "set(VXMESH_HEADERS\n    io/Text.h scene/Object.h)\n")
        self.write("prefix/VXMesh/io/Text.h", "#pragma once\n")
        self.write("prefix/VXMesh/scene/Object.h", "#pragma once\n")
        self.assertEqual(house.installed_problems(self.root, self.root / "prefix"), [])
        self.write("prefix/VXMesh/scene/Cache.h", "#pragma once\n")
        (self.root / "prefix/VXMesh/io/Text.h").unlink()
        self.assertEqual(house.installed_problems(self.root, self.root / "prefix"),
                         ["VXMesh/scene/Cache.h is installed and not public", "VXMesh/io/Text.h is public and not installed"])

    def test_header_without_its_example(self):
        self.write("platform/VXMesh/CMakeLists.txt", "set(VXMESH_HEADERS\n    io/Text.h scene/Object.h)\n")
        self.assertEqual(self.problems(), ["platform/VXMesh/scene/Object.h opens with no example"])

    def test_example_as_a_source(self):
        example = examples.example_in("/// What it is.\n///\n///     #include <string>\n///\n///     int i = 0;\n"
                                      "/// More of it.\n///\n///     no example\nclass Object;\n")
        self.assertEqual(example, ["#include <string>", "", "int i = 0;"])
        self.assertIn("#include <VXMesh/scene/Object.h>\n#include <string>\nnamespace VX\n{\n"
                      "[[maybe_unused]] static int example()\n{\n\nint i = 0;\nreturn 0;\n}\n}\n",
                      examples.source_of("VXMesh/scene/Object.h", example))
        self.assertNotIn("example()", examples.source_of("VXMesh/scene/Object.h", ["class Part;"]))

    def test_long_file(self):
        self.write("app/main.cpp", "// line\n" * 501)
        self.assertEqual(self.problems(), ["app/main.cpp: 501 lines, at most 500"])

    def test_long_functions(self):
        body = "    call();\n" * 59
        self.write("app/main.cpp", f"int main()\n{{\n{body}}}\n")
        self.write("app/Tool.h", f"class Tool\n{{\n    void run() const\n    {{\n{body.replace('    ', '        ')}    }}\n}};\n")
        self.assertEqual(self.problems(), ["app/Tool.h:4: a function of 61 lines, at most 60",
                                           "app/main.cpp:2: a function of 61 lines, at most 60"])

    def test_full_folder(self):
        for i in range(25):
            self.write(f"tests/ui/some{i}_test.cpp", "int some;\n")
        self.write("tests/ui/looks/some_test.cpp", "int some;\n")
        self.assertEqual(self.problems(), [])
        self.write("tests/ui/Fixture.h", "#pragma once\n")
        self.assertEqual(self.problems(), ["tests/ui has 26 files, at most 25"])

    def test_function_that_just_fits_and_types_and_namespaces(self):
        self.write("app/main.cpp", "int main()\n{\n" + "    call();\n" * 58 + "}\n")
        self.write("app/Big.h", "namespace App\n{\nstruct Big\n{\n" + "    int member;\n" * 70 + "};\n}\n")
        self.assertEqual(self.problems(), [])

    def test_arrow_that_is_allowed_still_and_has_gone(self):
        self.write("backend/identity/Users.h", "#pragma once\n")
        self.write("docs/architecture.md", PAGE + "backend/\n  identity/\n")
        house.STILL.add(("backend/identity", "backend/gone"))
        self.addCleanup(house.STILL.discard, ("backend/identity", "backend/gone"))
        self.assertIn("backend/identity includes backend/gone no more: tests/house/house.py need not allow it",
                      self.problems())


if __name__ == "__main__":
    unittest.main()
