"""A recipe for Conan 2: `conan create packaging/conan` in a clone or in an unpacked source archive.

Not run where this was written: Conan could not be had there.
"""

import re
from pathlib import Path

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy

TREE = Path(__file__).resolve().parents[2]
PARTS = ["CMakeLists.txt", "CMakePresets.json", "LICENSE", "bindings", "cmake", "host", "include", "presets",
         "recordings", "src", "tests/golden", "tests/naive", "tests/plugin", "tests/support", "tools"]


class FilterProcessor(ConanFile):
    name = "filter-processor"
    description = "Depth-image filters for a depth-camera SDK"
    license = "Apache-2.0"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False], "tools": [True, False]}
    default_options = {"shared": True, "fPIC": True, "tools": False}
    implements = ["auto_shared_fpic"]

    def set_version(self):
        text = (Path(self.recipe_folder) / "CMakeLists.txt" if not (TREE / "CMakeLists.txt").exists()
                else TREE / "CMakeLists.txt").read_text("utf-8")
        self.version = re.search(r"project\(\w+ VERSION ([\d.]+)", text)[1]

    def export(self):
        # The version is read there again wherever the recipe goes.
        copy(self, "CMakeLists.txt", TREE, self.export_folder)

    def export_sources(self):
        for part in PARTS:
            pattern = part if (TREE / part).is_file() else f"{part}/*"
            copy(self, pattern, TREE, self.export_sources_folder)

    def validate(self):
        if self.settings.arch not in ("x86_64", "armv8", "wasm"):
            raise ConanInvalidConfiguration("the filters are for x86-64, 64-bit ARM and WebAssembly")
        if self.options.tools and not self.options.shared:
            raise ConanInvalidConfiguration("gxfilter loads the filters at run time: tools take shared=True")

    def requirements(self):
        if not self.options.tools:
            return
        for each in ("bzip2/1.0.8", "cli11/2.3.2", "fmt/9.1.0", "libdeflate/1.19", "libpng/1.6.40", "libzip/1.9.2",
                     "lz4/1.9.4", "mbedtls/2.28.4", "nlohmann_json/3.11.2", "yaml-cpp/0.7.0", "zlib/1.3.1",
                     "zstd/1.5.5"):
            self.requires(each, visible=False)  # of gxfilter, not of what links the libraries

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables.update({
            "FILTER_PROCESSOR_TOOLS": bool(self.options.tools), "FILTER_PROCESSOR_TESTS": False,
            "FILTER_PROCESSOR_BENCH": False, "FILTER_PROCESSOR_MATROSKA": False})
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, str(Path(self.package_folder) / "licenses"))
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "FilterProcessor")
        host = self.cpp_info.components["GextonSDK"]
        host.libs = ["GextonSDK"]
        host.set_property("cmake_target_name", "FilterProcessor::GextonSDK")
        host.set_property("pkg_config_name", "gexton_sdk")
        plugin = self.cpp_info.components["FilterProcessor"]
        plugin.libs = ["FilterProcessor"]
        plugin.requires = ["GextonSDK"]
        plugin.set_property("cmake_target_name", "FilterProcessor::FilterProcessor")
        plugin.set_property("pkg_config_name", "filter_processor")
        if not self.options.shared and self.settings.os == "Linux":
            host.system_libs = ["stdc++", "m"]
