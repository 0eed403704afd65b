"""Conan 2: conan create packaging/conan"""

import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load
from conan.tools.gnu import PkgConfigDeps

FOLDERS = ("cmake", "include", "platform", "qt", "src")
FILES = ("CMakeLists.txt", "LICENSE", "NOTICE")


class KovaConan(ConanFile):
    name = "kova"
    description = "Product analytics for C++ programs"
    homepage = "https://kova.example/"
    license = "Apache-2.0"
    topics = ("analytics", "telemetry")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "qt": [True, False]}
    default_options = {"shared": True, "qt": False}

    def set_version(self):
        constants = load(self, os.path.join(self._sources, "include", "Kova", "KovaConstants.h"))
        self.version = re.search(r'KovaLibraryVersion, "(.*)"', constants)[1]

    @property
    def _sources(self):
        return os.path.abspath(os.path.join(self.recipe_folder, "..", ".."))

    def export_sources(self):
        for folder in FOLDERS:
            copy(self, f"{folder}/*", self._sources, self.export_sources_folder)
        for file in FILES:
            copy(self, file, self._sources, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        self.requires("boost/1.81.0")  # compiled in
        for library in ("cairo/1.18.0", "libcurl/8.9.1", "libpng/1.6.43", "openssl/3.3.2", "pango/1.54.0",
                        "rapidjson/cci.20230929", "sqlite3/3.46.1", "utf8proc/2.9.0", "zlib/1.3.1"):
            self.requires(library)
        if self.options.qt:
            self.requires("qt/6.7.3")

    def validate(self):
        check_min_cppstd(self, 20)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["KOVA_BUILD_TESTS"] = False
        toolchain.cache_variables["KOVA_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["CMAKE_DISABLE_FIND_PACKAGE_Qt6"] = not self.options.qt
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The library's own package is as good as Conan's: Kova::Kova, Kova::Core, Kova::C, Kova::Qt.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append(os.path.join("lib", "cmake", "Kova"))
