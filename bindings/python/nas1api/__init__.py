"""libnas1api from Python: a thin layer over nas1api.h.

Every function of the header is reached as ``lib.Nas1...``, its types through ``ffi``; the functions of this module wrap
the everyday ones. Texts are str here and bytes in the appliance's code page there. A failure raises Error.
"""

import codecs
import collections
import re
from pathlib import Path

import cffi

__all__ = ["Error", "Share", "add_share", "config", "delete_share", "ffi", "lib", "set_config", "shares"]


def _declarations():
    """The header, beside this file once installed, as cffi reads C: without preprocessor lines and attributes."""
    places = [Path(__file__).with_name("nas1api.h"), Path(__file__).resolve().parents[3] / "src/api/nas1api.h"]
    header = next(place for place in places if place.exists()).read_text(encoding="ascii")
    header = re.sub(r'(?m)^#.*$|^extern "C" \{$|^\}$', "", header)
    header = re.sub(r"__attribute__\s*\(\((?:[^()]|\([^()]*\))*\)\)", "", header)
    # What takes a list of C arguments cannot be called from here.
    header = re.sub(r"int vNas1Log\([^;]*;", "", header)
    return "typedef long time_t;\n" + header


ffi = cffi.FFI()
# The packed records are; the others have no gaps anyway.
ffi.cdef(_declarations(), packed=True)
lib = ffi.dlopen("libnas1api.so.0")


class Error(Exception):
    """A call that failed; `code` is what it returned."""

    def __init__(self, what, code):
        super().__init__(f"{what} ({code})")
        self.code = code


Share = collections.namedtuple("Share", "name comment path")


def _codec():
    lib.NasApiInit()
    try:
        return codecs.lookup(f"cp{lib.g_codepage}").name
    except LookupError:
        return "latin-1"


def _encode(text):
    return text.encode(_codec(), "surrogateescape")


def _decode(text):
    return text.decode(_codec(), "surrogateescape")


def _check(what, result):
    if result < 0:
        raise Error(what, result)
    return result


def add_share(name, path, comment=""):
    """Adds a share and makes its folder. Returns its name, which loses blanks at its ends."""
    name = _encode(name)
    if not name.strip(b" "):
        raise ValueError("the name of a share must not be empty")  # the library would end the process
    buffer = ffi.new("char[]", name)
    _check("the share could not be added", lib.Nas1ShareAdd(buffer, _encode(comment), _encode(path)))
    return _decode(ffi.string(buffer))


def delete_share(name):
    """Deletes a share and, unless RESERVE_SHARE_PATH is 1, its folder with all that is in it."""
    _check("the share could not be deleted", lib.Nas1ShareDel(_encode(name)))


def shares():
    """All shares, sorted by name."""
    count, size = ffi.new("int *"), ffi.new("int *")
    _check("the shares could not be counted", lib.Nas1ShareCountSize(count, size))
    if size[0] == 0:
        return []
    blocks = ffi.new("char[]", size[0])
    listed, at, found = lib.Nas1ShareList(0, count[0], blocks, size[0]), 0, []
    path_at = ffi.offsetof("ShareInfo", "path")
    for _ in range(listed):
        share = ffi.cast("ShareInfo *", blocks + at)
        path = ffi.string(blocks + at + path_at, share.size - path_at)
        found.append(Share(*map(_decode, (ffi.string(share.name), ffi.string(share.comment), path))))
        at += share.size
    return sorted(found)


def config(key):
    """The value of a configuration key: an int, a str, or bytes for a record."""
    size = ffi.new("int *")
    kind = _check(f"there is no key {key}", lib.NasGetConfig(key.encode(), 0, ffi.NULL, size))
    buffer = ffi.new("char[]", size[0] + 1)
    _check(f"{key} could not be read", lib.NasGetConfig(key.encode(), size[0], buffer, ffi.NULL))
    if kind in (lib.CFG_INTEGER, lib.CFG_HEX):
        return ffi.cast("uint32_t *", buffer)[0]
    return _decode(ffi.string(buffer)) if kind == lib.CFG_TEXT else bytes(ffi.buffer(buffer, size[0]))


def set_config(key, value):
    """Sets a configuration key to an int, a str or bytes."""
    if isinstance(value, int):
        value = bytes(ffi.buffer(ffi.new("uint32_t *", value)))
    elif isinstance(value, str):
        value = _encode(value) + b"\0"
    _check(f"{key} could not be set", lib.NasSetConfig(key.encode(), len(value), value))
