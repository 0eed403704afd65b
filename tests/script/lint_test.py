"""Each check of script/lint passes good samples and finds what is wrong in bad ones."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CHECKS = ROOT / "script" / "lint.d"


class LintTest(unittest.TestCase):
    def run_check(self, check, files):
        """Runs a check over a project of the given files; returns its status and what it printed."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["git", "init", "-q", folder], check=True, capture_output=True)
            for path, text in files.items():
                (Path(folder) / path).parent.mkdir(parents=True, exist_ok=True)
                (Path(folder) / path).write_text(text)
            run = subprocess.run([str(CHECKS / check)], cwd=folder, capture_output=True, text=True,
                                 env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
            return run.returncode, run.stdout + run.stderr

    def assert_passes(self, check, files):
        self.assertEqual(self.run_check(check, files), (0, ""))

    def assert_found(self, check, files, *places):
        status, printed = self.run_check(check, files)
        self.assertNotEqual(status, 0, printed)
        for place in places:
            self.assertIn(place, printed)

    def test_includes_that_point_the_wrong_way(self):
        wrong = [
            ("platform/net/A.h", '#include "src/core/B.h"'),
            ("platform/net/A.h", "#include <Kova/B.h>"),
            ("platform/net/A.h", '#include "platform/graphics/B.h"'),
            ("platform/runtime/A.cpp", '#include "platform/foundation/B.h"'),
            ("platform/linux/A.h", '#include "platform/simulator/B.h"'),
            ("platform/attic/A.h", '#include "platform/runtime/B.h"'),
            ("include/Kova/A.h", '#include "src/core/B.h"'),
            ("src/core/A.cpp", "#include <curl/curl.h>"),
            ("src/core/A.cpp", "#include <sqlite3.h>"),
            ("src/core/A.cpp", "#include <unistd.h>"),
            ("src/core/A.cpp", '#include "B.h"'),
            ("src/core/A.cpp", '#include "tests/support/B.h"'),
            ("src/storage/A.cpp", '#include "src/core/tracker/KovaTracker.h"'),
            ("src/core/A.h", '#include "src/events/B.h"'),
            ("src/storage/store/A.h", '#include "src/storage/B.h"'),
            ("src/storage/A.h", '#include "src/autocapture/B.h"'),
            ("src/attic/A.h", '#include "src/core/B.h"'),
            ("examples/host/main.cpp", '#include "src/core/B.h"'),
            ("tests/core/ATest.cpp", "#include <rapidjson/reader.h>"),
            ("tests/core/ATest.cpp", "#include <openssl/evp.h>"),
        ]
        for path, line in wrong:
            with self.subTest(path=path, line=line):
                self.assert_found("includes", {path: f"#pragma once\n{line}\n"}, f"{path}:2: ")

    def test_includes_that_point_the_right_way(self):
        self.assert_passes("includes", {
            "platform/uikit/A.h": '#include <curl/curl.h>\n#include "platform/net/B.h"\n#include <unistd.h>\n',
            "platform/uikit/CMakeLists.txt": "kova_platform_layer(uikit SOURCES A.cpp)\n",
            "src/core/tracker/Kova.cpp": '#include <Kova/Kova.h>\n#include <string>\n#include "src/storage/B.h"\n#include "src/core/B.h"\n',
            "src/storage/A.cpp": '#include "src/storage/C.h"\n#include "src/storage/store/B.h"\n',
            "platform/net/internal/A.h": '#include "platform/net/B.h"\n#include "platform/dispatch/internal/B.h"\n',
            "tests/core/ATest.cpp": '#include <gtest/gtest.h>\n#include "src/core/B.h"\n',
            "tests/support/Certificate.cpp": "#include <openssl/evp.h>\n",
        })

    def test_platform_that_names_the_library(self):
        self.assert_found("includes", {"platform/net/A.h": "// As\n// KOVA_x does.\n", "platform/net/CMakeLists.txt": "Kova\n"},
                          "platform/net/A.h:2: ", "platform/net/CMakeLists.txt:1: ")

    def test_include_cycles(self):
        self.assert_found("cycles", {
            "src/core/A.cpp": '#include "src/core/B.h"\n', "src/core/A.h": "",
            "src/core/B.h": '\n#include "src/core/A.h"\n',
        }, "src/core/B.h:2: include cycle: src/core/A -> src/core/B -> src/core/A")
        self.assert_found("cycles", {
            "include/Kova/A.h": '#include "platform/net/B.h"\n',
            "platform/net/B.h": "#include <Kova/A.h>\n",
        }, "include cycle: include/Kova/A -> platform/net/B -> include/Kova/A")
        self.assert_passes("cycles", {
            "src/core/A.h": "", "src/core/A.cpp": '#include "src/core/A.h"\n',
            "src/core/B.h": '#include "src/core/A.h"\n',
            "src/core/A+More.cpp": '#include "src/core/A.h"\n#include "src/core/B.h"\n',
        })

    def test_a_stale_drawing_of_the_floors(self):
        drawn = "".join(f"{line}\n" for line in subprocess.run([ROOT / "script" / "floors"], check=True, capture_output=True,
                                                               text=True).stdout.splitlines())
        self.assertIn("src/core                 telemetry\n", drawn)
        self.assert_found("floors", {"docs/architecture.md": f"# A\n```floors\n{drawn}```\n"}, "docs/architecture.md:2: ")

    def test_words(self):
        # Put together here, so that this file passes the check itself.
        for word in ["TO" "DO later", "// FIX" "ME", "XX" "X", "HA" "CK"]:
            with self.subTest(word=word):
                self.assert_found("words", {"docs/a.md": f"\n{word}\n"}, "docs/a.md:2: ")
        self.assert_passes("words", {"docs/a.md": "XXXXXX\n"})

    def test_tests_that_sleep(self):
        self.assert_found("words", {
            "tests/ATest.cpp": "std::this_thread::sl" "eep_for(1ms);\n", "tests/BTest.cpp": "  usl" "eep(5);\n",
            "tests/c.test.mjs": "await new Promise((r) => setTime" "out(r, 50));\n",
        }, "tests/ATest.cpp:1: ", "tests/BTest.cpp:1: ", "tests/c.test.mjs:1: ")
        self.assert_passes("words", {"tools/service.mjs": "setTime" "out(answer, 50);\n"})

    def test_sources(self):
        self.assert_found("sources", {
            "tests/CMakeLists.txt": "kova_test(a SOURCES ATest.cpp) # BTest.cpp\n",
            "tests/ATest.cpp": "", "tests/BTest.cpp": "", "src/C.h": "#include <string>\n#pragma once\n",
        }, "tests/BTest.cpp:1: ", "src/C.h:1: ")
        self.assert_passes("sources", {
            "src/CMakeLists.txt": 'add_library(k core/A.cpp "${PROJECT_SOURCE_DIR}/src/B.cpp"\n  C+D.cpp)\n',
            "src/core/A.cpp": "", "src/B.cpp": "", "src/C+D.cpp": "", "src/C.h": "#pragma once\n",
            "bench/CMakeLists.txt": "function(b name)\n  add_executable(${name} ${name}.cpp)\nendfunction()\nb(track)\n",
            "bench/track.cpp": "",
        })

    def test_format(self):
        style = {".clang-format": (ROOT / ".clang-format").read_text()}
        self.assert_found("format", {**style, "src/a.cpp": "int a = 1;\nint  b=2;\n"}, "src/a.cpp:2: ")
        self.assert_passes("format", {**style, "src/a.cpp": "int a = 1;\n"})

    def test_syntax(self):
        for path, text in {"script/a": "#!/usr/bin/env bash\nif\n", "a.mjs": "let let;\n", "script/b": "#!/usr/bin/env python3\ndef\n"}.items():
            with self.subTest(path=path):
                self.assert_found("syntax", {path: text}, path)

    def test_sizes(self):
        steps, rows = "  x();\n" * 40, "    1,\n" * 80
        sample = f"\nvoid f() {{\n{steps}}}\nvoid g() {{\n}}\nauto h() {{\n  return T{{\n{rows}  }};\n}}\n"
        status, printed = self.run_check("sizes", {"a.cpp": sample, "b.h": "\n" * 401, "tests/a.cpp": sample, "tests/b.h": "\n" * 401})
        self.assertEqual((status, printed.splitlines()),
                         (1, ["a.cpp:2: a function of 41 lines: void f() {", "b.h:1: 401 lines", "tests/b.h:1: note: 401 lines"]))

    def test_warnings_and_tidy(self):
        build = {"CMakeLists.txt": "cmake_minimum_required(VERSION 3.25)\nproject(Sample VERSION 1.2.3 LANGUAGES CXX)\n"
                 f"include({ROOT}/cmake/KovaTargets.cmake)\nadd_library(sample OBJECT src/a.cpp)\nkova_compile_options(sample)\n",
                 **{name: (ROOT / name).read_text() for name in ("CMakePresets.json", ".clang-tidy")}}
        unlocked = ('struct __attribute__((capability("mutex"))) M {};\nM m;\n__attribute__((guarded_by(m))) int x;\n'
                    "int f();\nint f() { return x; }\n")
        self.assert_found("warnings", {**build, "src/a.cpp": "int f(int x) {\n  int y = 0;\n  return x;\n}\n"},
                          "a.cpp:2", "unused-variable")
        self.assert_found("warnings", {**build, "src/a.cpp": unlocked},
                          "a.cpp:5", "thread-safety")
        threads = ('#include "src/core/NSOperationQueue+SafeOperation.h"\nstruct A : platform::NSObject {\n'
                   "  void show() KOVA_ON_MAIN_THREAD;\n  int sent KOVA_OF_MUTATION_QUEUE = 0;\n};\n"
                   'void f(A& a);\nvoid f(A& a) {\n  kova::perform(kova::mainThread, a, "f", [](A& self) KOVA_ON_MAIN_THREAD {\n%s  });\n}\n')
        sample = {**build, "CMakeLists.txt": build["CMakeLists.txt"] + f"target_include_directories(sample PRIVATE {ROOT})\n"}
        self.assert_found("warnings", {**sample, "src/a.cpp": threads % "    self.show();\n    ++self.sent;\n"},
                          "a.cpp:10", "mutationQueue")
        self.assert_found("warnings", {**sample, "src/a.cpp": (threads % "    self.show();\n").replace("kova::mainThread,", "*KOVA_serialStateQueue(),")},
                          "a.cpp:8", "mainThread")
        good = {**build, "src/a.cpp": "int f();\nint f() { return 1; }\n"}
        for check in ("warnings", "tidy"):
            self.assertEqual(self.run_check(check, good)[0], 0)
        self.assert_found("tidy", {**build, "src/a.cpp": "int f(long x);\nint f(long x) { return x == 1 ? 1 : 1; }\n"},
                          "a.cpp:2", "bugprone-branch-clone")

    def test_documents_that_do_not_say_what_is_so(self):
        header = ("class KovaOptions {\n  KOVA_OPTION_FLAG_(debug, setDebug);\n"
                  "  KOVA_OPTION_SETTING_(int, int, limit,\n                       setLimit, 30);\n};\n")
        files = {
            "include/Kova/KovaOptions.h": header,
            "docs/options.md": "| `debug`, `limit` | flag |\n",
            "src/A.cpp": 'log("The journal of %@ %@.", id, "cannot be had");\nlog("No \\"%@\\" here");\n',
            "docs/troubleshooting.md": '| `The journal of … cannot be had` | why |\n| `No "…" here` | why |\n',
            "README.md": "# A b\n[a](#a-b) [o](docs/options.md) [w](https://example.com/x)\n",
        }
        self.assert_passes("documents", files)
        wrong = [("docs/options.md", "| `debug` | not `limit` |\n", "include/Kova/KovaOptions.h:4: "),
                 ("docs/troubleshooting.md", "\n| `No … there` | why |\n", "docs/troubleshooting.md:2: "),
                 ("README.md", "[o](docs/option.md)\n", "README.md:1: "),
                 ("README.md", "# A c\n\n[a](#a-b)\n", "README.md:3: ")]
        for path, text, place in wrong:
            with self.subTest(path=path, text=text):
                self.assert_found("documents", {**files, path: text}, place)

    def test_examples_that_do_not_work(self):
        files = {
            "docs/examples/core.h": "int known();\n",
            "include/Kova/A.h": "// Use:\n//   known();\n\nint a();\n",
            "src/a.cpp": "int here;\n",
            "README.md": "```cpp\n#include <string>\nint main() { return std::string().size(); }\n```\n\n```cpp\nknown();\n```\n"
                         "```cpp excerpt\nint here;\n```\n```sh\ntools/t --flag | cat\n```\n```\nno ( language\n```\n",
            "tools/t": "case --flag\n",
        }
        self.assert_passes("examples", files)
        wrong = [("include/Kova/A.h", "// Use:\n//   unknown();\n", "include/Kova/A.h:2: "),
                 ("README.md", "```cpp\nint main() {\n  return x;\n}\n```\n", "README.md:3: "),
                 ("README.md", "```cpp excerpt\nint gone;\n```\n", "README.md:2: "),
                 ("README.md", "```c\nint x = y;\n```\n", "README.md:2: "),
                 ("README.md", "```python\nf(\n```\n", "README.md:2: "),
                 ("README.md", "```sh\nif\n```\n", "README.md:2: "),
                 ("README.md", "```sh\nls\ntools/u\n```\n", "README.md:3: "),
                 ("README.md", "```sh\ntools/t --flug\n```\n", "README.md:2: ")]
        for path, text, place in wrong:
            with self.subTest(path=path, text=text):
                self.assert_found("examples", {**files, "docs/examples/core.c.h": "", path: text}, place)


if __name__ == "__main__":
    unittest.main()
