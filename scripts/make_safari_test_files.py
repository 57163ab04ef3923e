#!/usr/bin/env python3
"""Writes tests/data/safari/: small Safari bookmarks files of our own, made to hold what Safari's
files hold across its versions, so that the tests need no third-party files.

  safari2-japanese.plist     Safari 2: an empty root title, four proxies with UTF-16 titles, a
                             Bookmarks Menu with no "Children"
  windows-imported.plist     Safari for Windows: titles only in URIDictionary, UTF-16 titles,
                             addresses and a folder of 15 or more entries (extended counts), a
                             folder imported from another browser beside the two special ones
  safari5-binary.plist       Safari 5: a History proxy and a Bookmarks Bar, no Bookmarks Menu (so
  safari5-xml.plist          the sort refuses it); the same tree in binary and in XML
  modern-sync.plist          Safari 14: "Sync" dictionaries whose "Data" is a one-byte flag or a
                             keyed archive, ReadingListNonSync, the hidden Reading List, folders
                             after it; written as newer Safari writes: equal values stored again
                             and two objects that nothing refers to
  derived/keyed-archive-*.bplist   the keyed archives of modern-sync.plist on their own: UIDs,
                             "$objects", 8-byte integers, repeated values, unreferenced objects

The binary writer here is our own, not plistlib's and not the engine's, so the tests compare two
implementations of Apple's layout: objects depth first, a container before all its keys and then
all its values, the smallest offset and reference sizes, equal values once (or, with
unique=False, each time they occur). The output is the same on every run.

usage: scripts/make_safari_test_files.py [FOLDER]     (default: tests/data/safari)
"""
import os
import plistlib
import struct
import sys
from pathlib import Path


class UID(int):
    """An NSKeyedArchiver reference."""


def _count(marker, n):
    if n < 15:
        return bytes([marker | n])
    return bytes([marker | 0xF]) + _integer(n)


def _integer(v):
    if v < 0:
        return b"\x13" + struct.pack(">q", v)
    for code, fmt, limit in ((0x10, ">B", 1 << 8), (0x11, ">H", 1 << 16), (0x12, ">L", 1 << 32), (0x13, ">q", 1 << 63)):
        if v < limit:
            return bytes([code]) + struct.pack(fmt, v)
    raise ValueError("integer too large for these files: %d" % v)


def binary(root, unique=True, unreferenced=()):
    """`root` as a binary property list. `unreferenced` values are appended after the tree."""
    objects, seen = [], {}

    def flatten(v):
        scalar = not isinstance(v, (dict, list))
        key = (type(v), v) if scalar else None
        if scalar and unique and key in seen:
            return seen[key]
        number = len(objects)
        objects.append(v)
        if scalar:
            seen.setdefault(key, number)
            return number
        if isinstance(v, dict):
            refs = [flatten(k) for k in v] + [flatten(x) for x in v.values()]
        else:
            refs = [flatten(x) for x in v]
        objects[number] = (v, refs)
        return number

    flatten(root)
    for v in unreferenced:
        objects.append(v)
    ref_size = 1 if len(objects) < 1 << 8 else 2
    pack_ref = (lambda r: struct.pack(">B", r)) if ref_size == 1 else (lambda r: struct.pack(">H", r))

    def encode(item):
        if isinstance(item, tuple):
            v, refs = item
            if isinstance(v, dict):
                return _count(0xD0, len(v)) + b"".join(pack_ref(r) for r in refs)
            return _count(0xA0, len(v)) + b"".join(pack_ref(r) for r in refs)
        v = item
        if isinstance(v, bool):
            return b"\x09" if v else b"\x08"
        if isinstance(v, UID):
            size = next(s for s in (1, 2, 4, 8) if v < 1 << (8 * s))
            return bytes([0x80 | (size - 1)]) + v.to_bytes(size, "big")
        if isinstance(v, int):
            return _integer(v)
        if isinstance(v, float):
            return b"\x23" + struct.pack(">d", v)
        if isinstance(v, bytes):
            return _count(0x40, len(v)) + v
        if isinstance(v, str):
            if v.isascii():
                return _count(0x50, len(v)) + v.encode("ascii")
            units = v.encode("utf-16-be")
            return _count(0x60, len(units) // 2) + units
        raise TypeError(type(v))

    out = bytearray(b"bplist00")
    offsets = []
    for item in objects:
        offsets.append(len(out))
        out += encode(item)
    table = len(out)
    offset_size = next(s for s in (1, 2, 4, 8) if table < 1 << (8 * s))
    for o in offsets:
        out += o.to_bytes(offset_size, "big")
    out += bytes(6) + bytes([offset_size, ref_size]) + struct.pack(">QQQ", len(objects), 0, table)
    return bytes(out)


def uuid(n):
    return "5E1F0A2C-%04X-4C3B-9D7E-%012X" % (n >> 48, n & 0xFFFFFFFFFFFF)


class Tree:
    """Builds nodes with UUIDs numbered in the order they are made."""

    def __init__(self, seed):
        self.next = seed

    def _uuid(self):
        self.next += 1
        return uuid(self.next)

    def leaf(self, title, url, uri_key=False, **extra):
        # Safari for Windows and Safari 2 kept the address under the empty key of URIDictionary too.
        uri = {"": url, "title": title} if uri_key else {"title": title}
        node = {"URIDictionary": uri, "URLString": url, "WebBookmarkType": "WebBookmarkTypeLeaf",
                "WebBookmarkUUID": self._uuid()}
        node.update(extra)
        return node

    def folder(self, title, children=None, **extra):
        node = {"Title": title, "WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": self._uuid()}
        if children is not None:
            node["Children"] = children
        node.update(extra)
        return node

    def proxy(self, title, identifier):
        return {"Title": title, "WebBookmarkType": "WebBookmarkTypeProxy", "WebBookmarkIdentifier": identifier,
                "WebBookmarkUUID": self._uuid()}

    def root(self, children, title=None):
        node = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": self._uuid(), "Children": children,
                "WebBookmarkFileVersion": 1}
        if title is not None:
            node["Title"] = title
        return node


def safari2_japanese():
    t = Tree(0x1000)
    bar = t.folder("BookmarksBar", [
        t.leaf("ニュース", "http://news.example.jp/", uri_key=True),
        t.leaf("del.icio.us", "http://del.icio.us/", uri_key=True),
        t.folder("旅行", [t.leaf("京都", "http://kyoto.example.jp/", uri_key=True),
                        t.leaf("Apple", "http://www.apple.example/jp/", uri_key=True)]),
    ])
    menu = t.folder("BookmarksMenu")
    proxies = [t.proxy("アドレスブック", "Address Book"), t.proxy("Bonjour", "Bonjour"), t.proxy("履歴", "History"),
               t.proxy("すべての RSS フィード", "All RSS Feeds")]
    return binary(t.root([bar, menu] + proxies, title=""))


def windows_imported():
    t = Tree(0x2000)
    news = [t.leaf("Notícias %02d" % i, "http://noticias.example.com.br/secao/%02d" % i, uri_key=True)
            for i in range(16)]
    bar = t.folder("BookmarksBar", [
        t.leaf("Apple", "http://www.apple.example/br/", uri_key=True),
        t.leaf("Wikipédia", "http://pt.wikipedia.example", uri_key=True),
        t.leaf("Yahoo!", "http://br.yahoo.example/", uri_key=True),
        t.folder("Notícias", news),
    ])
    imported = t.folder("Favoritos Importados do IE", [
        t.leaf("Rádio", "http://www.example.com/redir.dll?prd=windows&sbp=mediaplayer&plcid=&pver=6.1&ar=Media",
               uri_key=True),
        t.folder("Links", [t.leaf("Hotmail grátis", "http://www.example.com/redir.dll?prd=ie&ar=hotmail", uri_key=True),
                           t.leaf("Windows", "http://www.example.com/redir.dll?prd=ie&ar=windows", uri_key=True)]),
        t.leaf("MSN.com", "http://www.example.com/redir.dll?prd=ie&pver=6&ar=IStart", uri_key=True),
    ])
    return binary(t.root([bar, t.folder("BookmarksMenu"), imported]))


def safari5():
    t = Tree(0x3000)
    bar = t.folder("BookmarksBar", [
        t.leaf("Example", "http://www.example.org/"),
        t.folder("News", [t.leaf("Daily", "http://daily.example.net/")]),
    ])
    return t.root([t.proxy("History", "History"), bar])


def keyed_archive(device, changes):
    """A keyed archive shaped like the sync data modern Safari keeps for an entry."""
    generation = {"$class": UID(6), "deviceIdentifier": UID(5), "generation": 1}
    return {
        "$version": 100000,
        "$archiver": "NSKeyedArchiver",
        "$top": {"root": UID(1)},
        "$objects": [
            "$null",
            {"$class": UID(7), "Generations": UID(2), "ChangeID": changes, "Position": UID(8)},
            {"NS.keys": [UID(3), UID(4)], "NS.objects": [UID(9), UID(10)], "$class": UID(11)},
            "TitleURLAndIdentityHash",
            "ParentAndPosition",
            device,
            {"$classname": "CloudBookmarkGeneration", "$classes": ["CloudBookmarkGeneration", "NSObject"]},
            {"$classname": "CloudBookmarkSyncData", "$classes": ["CloudBookmarkSyncData", "NSObject"]},
            {"$class": UID(12), "sortValue": -(1 << 40), "changeID": 1 << 33},
            generation,
            dict(generation),
            {"$classname": "NSMutableDictionary", "$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]},
            {"$classname": "CloudBookmarkPosition", "$classes": ["CloudBookmarkPosition", "NSObject"]},
        ],
    }


DEVICE = "9F0C3A7E51B2D48C6E0A1F93B7D25C8E4A6F0B1D3C5E7092A4B6C8D0E2F41357"
ARCHIVES = [binary(keyed_archive(DEVICE, 18), unique=False, unreferenced=[0]),
            binary(keyed_archive(DEVICE, 4107), unique=False, unreferenced=["$null", False])]


def modern_sync():
    t = Tree(0x4000)

    def synced_leaf(title, url, archive):
        return t.leaf(title, url, ReadingListNonSync={"neverFetchMetadata": False},
                      Sync={"ServerID": uuid(0x9000 + t.next), "Data": archive})

    bar = t.folder("BookmarksBar", [
        t.folder("Folder", [synced_leaf("DuckDuckGo", "https://duckduckgo.example/", ARCHIVES[0]),
                            synced_leaf("Example", "https://example.org/", ARCHIVES[1])],
                 Sync={"ServerID": uuid(0x9100), "Data": ARCHIVES[0]}),
        synced_leaf("Weather", "https://weather.example/", ARCHIVES[1]),
    ], Sync={"ServerID": "Favorites Bar", "Data": b"B"})
    menu = t.folder("BookmarksMenu", Sync={"ServerID": "Bookmarks Menu", "Data": b"B"})
    reading = t.folder("com.apple.ReadingList", ShouldOmitFromUI=True, Sync={"ServerID": "Reading List", "Data": b"B"})
    other = t.folder("Another Folder", [t.folder("Subfolder", [synced_leaf("Zürich", "https://zuerich.example/",
                                                                            ARCHIVES[0])])])
    root = t.root([t.proxy("History", "History"), bar, menu, reading, other], title="")
    return binary(root, unique=False, unreferenced=[False, False])


def main(argv):
    if argv and argv[0] in ("-h", "--help"):
        print(__doc__.strip())
        return
    if len(argv) > 1 or (argv and argv[0].startswith("-")):
        print("usage: scripts/make_safari_test_files.py [FOLDER]", file=sys.stderr)
        sys.exit(64)
    out = Path(argv[0]) if argv else Path(__file__).resolve().parent.parent / "tests" / "data" / "safari"
    (out / "derived").mkdir(parents=True, exist_ok=True)
    files = {
        "safari2-japanese.plist": safari2_japanese(),
        "windows-imported.plist": windows_imported(),
        "safari5-binary.plist": binary(safari5()),
        "safari5-xml.plist": plistlib.dumps(safari5(), fmt=plistlib.FMT_XML, sort_keys=True),
        "modern-sync.plist": modern_sync(),
        "derived/keyed-archive-1.bplist": ARCHIVES[0],
        "derived/keyed-archive-2.bplist": ARCHIVES[1],
    }
    for name, data in files.items():
        (out / name).write_bytes(data)
    print("wrote %d files to %s" % (len(files), out))


if __name__ == "__main__":
    main(sys.argv[1:])
