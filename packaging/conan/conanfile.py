"""A recipe for the tree that this file is in:  conan create packaging/conan"""
import os
import re

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")


class KivmimeConan(ConanFile):
    name = "kivmime"
    description = "Reads and writes Internet messages"
    topics = ("mime", "mail", "email")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False], "signing": [True, False]}
    default_options = {"shared": False, "fPIC": True, "signing": True}

    def set_version(self):
        header = load(self, os.path.join(ROOT, "etc", "mime", "version.h"))
        self.version = ".".join(re.findall(r"#define KIVMIME_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header))

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "cmake/*", "etc/*", "kivgui/*", "kivsec/*", "README.md", "CHANGELOG.md",
                        "docs/*.md", "examples/*.cpp"):
            copy(self, pattern, ROOT, self.export_sources_folder)

    def config_options(self):
        if self.settings.os == "Windows":
            del self.options.fPIC

    def configure(self):
        if self.options.shared:
            self.options.rm_safe("fPIC")

    def layout(self):
        cmake_layout(self)

    def validate(self):
        check_min_cppstd(self, 20)

    def requirements(self):
        if self.options.signing and self.settings.os != "Windows":
            self.requires("openssl/[>=3 <4]")

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["KIVMIME_SHARED"] = bool(self.options.shared)
        toolchain.cache_variables["KIVMIME_SIGNING"] = bool(self.options.signing)
        toolchain.cache_variables["KIVMIME_BUILD_TESTS"] = False
        toolchain.cache_variables["KIVMIME_BUILD_TOOLS"] = False
        toolchain.cache_variables["KIVMIME_HTML"] = False
        toolchain.generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "KIVMIME")
        self.cpp_info.set_property("cmake_target_name", "KIVMIME::KIVMIME")
        self.cpp_info.set_property("pkg_config_name", "kivmime")
        self.cpp_info.libs = ["KIVMIME" if self.settings.os == "Windows" else "kivmime"]
        if not self.options.shared:
            self.cpp_info.defines = ["KIV_STATIC"]
        if self.settings.os == "Windows":
            self.cpp_info.system_libs = ["bcrypt", "crypt32"]
        else:
            self.cpp_info.system_libs = ["pthread"]
