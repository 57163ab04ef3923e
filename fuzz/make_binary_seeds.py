#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_binary into fuzz/corpus/binary/.

The trees are built by hand here; plistlib lays out binary files exactly as our writer does, so
the seeds are what our own writer would produce. A few seeds are then patched into forms only
Apple's reader accepts (Latin-1 in an ASCII string, unpaired surrogates, a 16-byte integer with
a high part), which plistlib cannot write. Run it again after changing it; the output is stable.
"""
import datetime
import os
import plistlib
import sys

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "binary")


def dumps(value):
    return plistlib.dumps(value, fmt=plistlib.FMT_BINARY, sort_keys=False)


def patched(value, old, new):
    data = dumps(value)
    assert data.count(old) == 1, old
    return data.replace(old, new)


def leaf(title, url, n):
    return {
        "URIDictionary": {"title": title},
        "URLString": url,
        "WebBookmarkType": "WebBookmarkTypeLeaf",
        "WebBookmarkUUID": "6C2F4A8E-0000-4000-8000-%012d" % n,
    }


def folder(title, children, n):
    return {
        "Children": children,
        "Title": title,
        "WebBookmarkType": "WebBookmarkTypeList",
        "WebBookmarkUUID": "6C2F4A8E-1111-4000-8000-%012d" % n,
    }


def bookmarks():
    bar = folder("BookmarksBar", [
        leaf("Apple", "https://www.apple.com/", 1),
        leaf("Notícias", "https://example.com.br/noticias?page=1&sort=date", 2),
        folder("Reisen", [leaf("Zürich", "https://example.ch/", 3), leaf("日本", "https://example.jp/", 4)], 5),
    ], 6)
    menu = folder("BookmarksMenu", [leaf("Menu item", "https://example.org/menu", 7)], 8)
    reading = folder("com.apple.ReadingList", [dict(
        leaf("Later", "https://example.net/article", 9),
        ReadingList={"DateAdded": datetime.datetime(2021, 9, 27, 10, 30, 5), "PreviewText": "A long preview " * 3},
        ReadingListNonSync={"neverFetchMetadata": False},
        Sync={"Data": b"B", "ServerID": "ABC-123"},
    )], 10)
    reading["ShouldOmitFromUI"] = True
    history = {"Title": "History", "WebBookmarkIdentifier": "History", "WebBookmarkType": "WebBookmarkTypeProxy",
               "WebBookmarkUUID": "6C2F4A8E-2222-4000-8000-000000000011"}
    root = folder("", [history, bar, menu, reading], 12)
    root["WebBookmarkFileVersion"] = 1
    return root


def every_type():
    return {
        "true": True, "false": False,
        "ints": [0, 1, 255, 256, 65535, 65536, 2**32, -1, -2**63, 2**63 - 1],
        "reals": [1.5, -0.0, 1e300, 5e-324, float("inf"), float("nan")],
        "date": datetime.datetime(2001, 1, 1, 0, 0, 1),
        "old date": datetime.datetime(1970, 1, 1),
        "data": bytes(range(20)), "empty data": b"",
        "ascii": "plain", "utf16": "Grüße", "empty": "",
        "empty array": [], "empty dict": {},
        "uid": plistlib.UID(7),
    }


def keyed_archive():
    return {
        "$archiver": "NSKeyedArchiver",
        "$objects": ["$null", {"$class": plistlib.UID(2), "NS.keys": [plistlib.UID(3)], "NS.objects": [plistlib.UID(4)]},
                     {"$classes": ["NSDictionary", "NSObject"], "$classname": "NSDictionary"}, "key", 42],
        "$top": {"root": plistlib.UID(1), "wide": plistlib.UID(300), "wider": plistlib.UID(70000)},
        "$version": 100000,
    }


def nested(depth, make):
    value = []
    for _ in range(depth):
        value = make(value)
    return value


SEEDS = {
    "bookmarks-tree.bplist": dumps(bookmarks()),
    "every-type.bplist": dumps(every_type()),
    "keyed-archive-uids.bplist": dumps(keyed_archive()),
    "long-counts.bplist": dumps({
        "string of 15": "abcdefghijklmno", "string of 300": "x" * 300, "utf16 of 20": "é" * 20,
        "data of 1000": bytes(i % 251 for i in range(1000)), "array of 16": list(range(16)),
        "dict of 20": {"k%02d" % i: i for i in range(20)},
    }),
    "utf16-strings.bplist": dumps(["履歴", "すべての RSS フィード", "emoji 😀 and 𝄞", "Ωmega", "\u2028", "a\x00b"]),
    "unpaired-surrogates.bplist": patched(["x\u4e00y\u4e01", "\u4e02"],
                                          b"\x00x\x4e\x00\x00y\x4e\x01", b"\x00x\xdc\x00\x00y\xd8\x3d"),
    "latin1-ascii-string.bplist": patched(["caf_", "na_ve"], b"\x54caf_", b"\x54caf\xe9"),
    "big-integers.bplist": dumps([2**63, 2**64 - 1, 2**63 - 1, -2**63, -1, 2**32 + 1]),
    "int128-high-part.bplist": patched([2**64 - 2], b"\x14" + bytes(8), b"\x14" + b"\x01" + bytes(7)),
    "nested-arrays-100.bplist": dumps(nested(100, lambda v: [v])),
    "nested-dicts-50.bplist": dumps(nested(50, lambda v: {"Children": v, "Title": "level"})),
    "shared-scalars.bplist": dumps([{"Title": "same", "URLString": "same", "n": 1, "r": 1.0, "b": True} for _ in range(10)]),
    "300-objects-2-byte-refs.bplist": dumps(["item %d" % i for i in range(300)]),
    # plistlib writes an object put in two places once; each place reads as a copy of its own.
    "shared-container.bplist": dumps([folder("Twice", [leaf("Once", "https://once.example/", 1)], 2)] * 2),
    # Each array holds the next one twice: 2^41 objects once copied, refused before any is built.
    "expansion-bomb.bplist": dumps(nested(40, lambda v: [v, v])),
    "root-string.bplist": dumps("just a string"),
    "root-date.bplist": dumps(datetime.datetime(2024, 2, 29, 23, 59, 59)),
}


def main(argv):
    if argv in (["-h"], ["--help"]):
        print(__doc__.strip() + "\n\nusage: fuzz/make_binary_seeds.py")
        return
    if argv:
        print("usage: fuzz/make_binary_seeds.py  (no arguments; writes into fuzz/corpus/binary/)", file=sys.stderr)
        sys.exit(64)
    os.makedirs(OUT, exist_ok=True)
    for name, data in SEEDS.items():
        with open(os.path.join(OUT, name), "wb") as f:
            f.write(data)
    print("wrote %d seeds to %s" % (len(SEEDS), OUT))


if __name__ == "__main__":
    main(sys.argv[1:])
