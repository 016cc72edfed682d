#!/usr/bin/env python3
"""The Python package against the real library. Runs inside the throw-away appliance: python_binding_test.py CHECKOUT"""

import os
import sys
import unittest

if not os.path.exists("/run/appliance/marker"):
    sys.exit("this is no throw-away appliance")
try:
    import cffi  # noqa: F401
except ImportError:
    print("skipped: python3-cffi is not installed")
    sys.exit(77)
sys.path.insert(0, sys.argv.pop(1) + "/bindings/python")
import nas1api  # noqa: E402


class Shares(unittest.TestCase):
    def setUp(self):
        for share in nas1api.shares():
            nas1api.delete_share(share.name)

    def test_what_is_added_is_listed_whole(self):
        # A path that is longer than the struct, a comment outside ASCII, blanks that the library drops.
        path = "/volume/v1/" + "deep/" * 40
        self.assertEqual("films", nas1api.add_share("  films ", path, "Für alle"))
        nas1api.add_share("a", "/volume/v1/a")
        self.assertEqual([("a", "", "/volume/v1/a"), ("films", "Für alle", path)], nas1api.shares())
        # Stored in the appliance's code page, 850 here.
        stored = nas1api.ffi.new("ShareInfo *")
        nas1api.lib.Nas1GetShareInfo(b"films", stored, nas1api.ffi.sizeof("ShareInfo"))
        self.assertEqual(b"F\x81r alle", nas1api.ffi.string(stored.comment))

    def test_failures_are_raised(self):
        nas1api.add_share("a", "/volume/v1/a")
        with self.assertRaises(nas1api.Error) as twice:
            nas1api.add_share("a", "/volume/v1/a")
        self.assertEqual(-1, twice.exception.code)
        with self.assertRaises(nas1api.Error):
            nas1api.delete_share("b")
        with self.assertRaises(ValueError):
            nas1api.add_share("  ", "/volume/v1/b")


class Configuration(unittest.TestCase):
    def test_every_type_is_read_and_set(self):
        for key, value in ("UPS_TIMEOUT", 70000), ("EVENT_ACTION", 0xFFFFFFFF), ("CIFS_GROUP_NAME", "BÜRO"), ("MAIL_RELAY_HOST", "x" * 63):
            nas1api.set_config(key, value)
            self.assertEqual(value, nas1api.config(key))
        version = nas1api.config("NAS_VERSION")
        self.assertEqual(18, len(version))

    def test_failures_tell_what_the_library_returned(self):
        for code, call in (-2, lambda: nas1api.config("NO_SUCH_KEY")), (-3, lambda: nas1api.set_config("CPU_SPEED", "9000")):
            with self.assertRaises(nas1api.Error) as failure:
                call()
            self.assertEqual(code, failure.exception.code)


class Rest(unittest.TestCase):
    def test_every_function_of_the_header_is_there(self):
        # Looking an attribute up finds its symbol; a declaration that no longer matches the library fails here.
        functions = [name for name in dir(nas1api.lib) if name.startswith(("Nas", "nas", "Log", "Get", "Setup", "Enable"))]
        self.assertGreater(len(functions), 100)
        for name in functions:
            self.assertIsNotNone(getattr(nas1api.lib, name))
        self.assertEqual(104, nas1api.ffi.sizeof("ShareInfo"))
        self.assertEqual(33, nas1api.ffi.sizeof("NfsHostEntry"))


unittest.main()
