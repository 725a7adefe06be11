"""The release programs are hardened as docs/architecture.md says."""

import os
import subprocess
import unittest

PROGRAM = os.environ["QUILLET_PROGRAM"]
PROGRAMS = [PROGRAM, *(os.path.join(os.path.dirname(PROGRAM), name) for name in ("quillet-database", "quillet-fcgi"))]
LIBRARY = os.environ["QUILLET_LIBRARY"]


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class HardeningTest(unittest.TestCase):
    def test_the_programs_have_no_fixed_address(self):
        for program in PROGRAMS:
            self.assertRegex(output_of("readelf", "-Wh", program), r"Type:\s+DYN")

    def test_library_calls_are_bound_at_the_start(self):
        for program in PROGRAMS:
            self.assertRegex(output_of("readelf", "-Wd", program), r"\(FLAGS\)\s+BIND_NOW")

    def test_bound_addresses_are_read_only(self):
        for program in PROGRAMS:
            self.assertIn("GNU_RELRO", output_of("readelf", "-Wl", program))

    def test_the_stack_is_not_executable(self):
        for program in PROGRAMS:
            self.assertRegex(output_of("readelf", "-Wl", program), r"GNU_STACK(\s+0x0+){5}\s+RW\s")

    def test_the_program_loads_no_library(self):
        self.assertNotIn("NEEDED", output_of("readelf", "-Wd", PROGRAM))
        self.assertNotIn("INTERP", output_of("readelf", "-Wl", PROGRAM))

    def test_functions_with_buffers_check_the_stack(self):
        self.assertIn("__stack_chk_fail", output_of("nm", LIBRARY))

    def test_library_calls_check_the_size_of_buffers(self):
        self.assertRegex(output_of("nm", LIBRARY), r"U __v?snprintf_chk")

    def test_each_function_has_its_own_section(self):
        self.assertRegex(output_of("readelf", "-WS", LIBRARY), r"\.text\._ZN7quillet14read_text_fileE")


if __name__ == "__main__":
    unittest.main()
