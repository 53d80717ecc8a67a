"""The tree that `cmake --install` makes: it runs from anywhere, and hosts are built on it alone."""
import ctypes
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
BUILD, CMAKE, VERSION = os.environ["KY_BUILD_DIR"], os.environ["KY_CMAKE"], os.environ["KY_VERSION"]
MAJOR = VERSION.split(".")[0]
LIBRARIES = {"libkyplugcore.so": "libkyplugcore.so." + MAJOR,  # file, and the name that programs record
             "libky_mfimport.so": "libky_mfimport.so",
             "libky_demux_dmf.so": "libky_demux_dmf.so"}


def run(*command, environment=None, **options):
    """Its standard output; a command that fails fails the test with all that it said."""
    plain = {key: value for key, value in os.environ.items() if key not in ("LD_LIBRARY_PATH", "DESTDIR")}
    done = subprocess.run([str(word) for word in command], env={**plain, **(environment or {})},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}\n{done.stdout.decode()}{done.stderr.decode()}")
    return done.stdout


def dynamic(file, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-d", file).decode())


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="ky_install_")
        cls.addClassCleanup(shutil.rmtree, cls.work)
        first = os.path.join(cls.work, "first")
        run(CMAKE, "--install", BUILD, "--prefix", first)
        # What still names the place of its installation fails from here on.
        cls.prefix = os.path.join(cls.work, "moved", "tree")
        os.makedirs(os.path.dirname(cls.prefix))
        os.rename(first, cls.prefix)
        cls.card = os.path.join(cls.work, "card")
        run(os.path.join(cls.prefix, "libexec", "kyxdcam", "make_card"), "-q", "--small", cls.card)
        cls.take = os.path.join(cls.card, "BPAV", "CLPR", "632_0001_01", "632_0001_01.SMI")
        cls.clip = glob.glob(os.path.join(cls.card, "BPAV", "CLPR", "632_0001_01", "*.MP4"))[0]
        cls.libraries = os.path.dirname(cls.one("lib*/**/libkyplugcore.so"))

    @classmethod
    def one(cls, pattern):
        found = glob.glob(os.path.join(cls.prefix, pattern), recursive=True)
        assert len(found) == 1, (pattern, found)
        return found[0]

    def library(self, name):
        return os.path.join(self.libraries, name)

    def host_environment(self):
        options = "-Wall -Wextra -Werror"
        if os.environ.get("KY_SANITIZE"):
            options += " -fsanitize=" + os.environ["KY_SANITIZE"]
        return {"CXXFLAGS": options, "LDFLAGS": "-Wl,-rpath," + self.libraries,
                "PKG_CONFIG_PATH": self.library("pkgconfig")}

    def expect_that_it_opens_the_take(self, host):
        # The card's decoder says on standard output what it reads.
        lines = run(host, self.take).decode().splitlines()[-3:]
        self.assertEqual([line.split(":")[0] for line in lines],
                         ["kind 1, stream 0", "kind 2, stream 0", "picture 0"], lines)
        size, pixel = re.fullmatch(r"picture 0: (\d+ x \d+), first pixel (\d+)", lines[-1]).groups()
        shown = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "stream=width,height",
                    "-of", "default=nw=1:nk=1", self.clip).decode().split()[:2]
        picture = run("ffmpeg", "-v", "error", "-nostdin", "-i", self.clip, "-frames:v", "1", "-f", "rawvideo",
                      "-pix_fmt", "yuv420p", "-")
        self.assertEqual((size, int(pixel)), (" x ".join(shown), picture[0]))

    def test_the_program_opens_a_take_without_a_library_path(self):
        program = os.path.join(self.prefix, "bin", "kyhost")
        self.assertIn(b"103 frames", run(program, "info", self.take, cwd="/"))

    def test_all_ways_to_our_own_files_are_relative(self):
        files = [self.library(name) for name in LIBRARIES]
        programs = ("lib*/**/kyxdcam/xdcamdecode.so", "bin/kyhost", "libexec/kyxdcam/make_card")
        files += [self.one(pattern) for pattern in programs]
        for file in files:
            for path in dynamic(file, "RUNPATH") + dynamic(file, "RPATH"):
                self.assertTrue(path.startswith("$ORIGIN/"), (file, path))

    def test_no_text_names_the_folders_of_source_build_or_first_prefix(self):
        folders = [BUILD, os.path.dirname(os.path.dirname(HERE)), os.path.join(self.work, "first")]
        texts = [file for kind in ("h", "cmake", "pc")
                 for file in glob.glob(os.path.join(self.prefix, "**", "*." + kind), recursive=True)]
        self.assertGreater(len(texts), 20)
        for file in texts:
            with open(file, encoding="utf-8") as opened:
                text = opened.read()
            for folder in folders:
                self.assertNotIn(folder, text, file)

    def test_library_files_carry_the_version_and_keep_the_names_that_hosts_know(self):
        for name, recorded in LIBRARIES.items():
            self.assertEqual(os.path.basename(os.path.realpath(self.library(name))), f"{name}.{VERSION}")
            self.assertTrue(os.path.samefile(self.library(name), self.library(f"{name}.{MAJOR}")), name)
            self.assertEqual(dynamic(self.library(name), "SONAME"), [recorded])

    def test_all_that_tells_a_version_tells_the_same(self):
        package = run("pkg-config", "--modversion", "kyxdcam", environment=self.host_environment())
        self.assertEqual(package.decode().strip(), VERSION)
        with open(self.one("include/kyxdcam/host/version.h"), encoding="utf-8") as header:
            self.assertIn(f'KY_VERSION_TEXT "{VERSION}"', header.read())
        with open(self.one("lib*/**/kyxdcamConfigVersion.cmake"), encoding="utf-8") as package:
            self.assertIn(f'set(PACKAGE_VERSION "{VERSION}")', package.read())

    @unittest.skipIf(os.environ.get("KY_SANITIZE"), "the interpreter is built without the sanitizer")
    def test_the_import_library_answers_with_that_version_too(self):
        library = ctypes.CDLL(self.library("libky_mfimport.so"))
        library.mpegInGetAPIExt.restype = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_int, ctypes.c_void_p)
        text = ctypes.create_string_buffer(128)
        self.assertEqual(library.mpegInGetAPIExt(1)(4, text), 0)
        self.assertEqual(text.value.decode(), VERSION)

    def test_headers_need_nothing_but_themselves(self):
        include = os.path.join(self.prefix, "include", "kyxdcam")
        headers = sorted(os.path.relpath(file, include) for file in glob.glob(os.path.join(include, "*", "*.h")))
        self.assertEqual({os.path.dirname(header) for header in headers}, {"host", "mfimport", "dmfdemux"})
        text = "".join(f'#include "{header}"\n' for header in headers).encode()
        run(os.environ["CXX"], "-std=c++20", "-fsyntax-only", "-x", "c++", "-I", include, "-", input=text,
            cwd=self.work)

    def test_a_host_builds_by_find_package_and_opens_a_take(self):
        build = os.path.join(self.work, "by_package")
        run(CMAKE, "-G", "Ninja", "-S", os.path.join(HERE, "host"), "-B", build, "-DCMAKE_PREFIX_PATH=" + self.prefix,
            environment=self.host_environment())
        run(CMAKE, "--build", build)
        self.expect_that_it_opens_the_take(os.path.join(build, "host"))

    def test_a_host_builds_by_pkg_config_and_opens_a_take(self):
        build = os.path.join(self.work, "by_pkg_config")
        shutil.copytree(os.path.join(HERE, "host"), build)
        run("make", "-C", build, "host", environment=self.host_environment())
        self.expect_that_it_opens_the_take(os.path.join(build, "host"))

    def test_the_documentation_shows_the_host_that_is_built_here(self):
        with open(os.path.join(HERE, "..", "..", "docs", "writing-a-host.md"), encoding="utf-8") as file:
            document = file.read()
        for name in ("host.cpp", "CMakeLists.txt", "Makefile"):
            with open(os.path.join(HERE, "host", name), encoding="utf-8") as file:
                self.assertIn("\n" + file.read() + "```", document, name)

    def test_a_staged_installation_holds_the_same_files_below_its_folder(self):
        stage = os.path.join(self.work, "stage")
        run(CMAKE, "--install", BUILD, "--prefix", "/opt/x", environment={"DESTDIR": stage})
        self.assertEqual(os.listdir(stage), ["opt"])
        self.assertEqual(self.files_below(os.path.join(stage, "opt", "x")), self.files_below(self.prefix))

    @staticmethod
    def files_below(root):
        return sorted(os.path.relpath(os.path.join(folder, name), root)
                      for folder, _, names in os.walk(root) for name in names)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
