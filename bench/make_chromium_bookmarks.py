#!/usr/bin/env python3
"""Write a realistic Chromium "Bookmarks" file for tests and benchmarks.

The tree has a Bookmarks Bar of a few entries and folders, an "Other bookmarks" folder holding
most of the bookmarks in folders up to eight levels deep (one large folder and many small ones),
and a few mobile bookmarks. Entries carry what Chromium writes (id, guid, dates, type, name, url,
children, date_modified) and, here and there, what makes sorting interesting: duplicate
addresses, blank and missing names, same names, meta_info and keys Chromium does not know yet.
The file is written as Chromium writes it: keys sorted, three-space indentation, "<" escaped, and
the checksum computed as Chromium computes it.
"""
import argparse
import hashlib
import random
import sys
import uuid

WORDS = ("news weather recipes travel banking music video shop wiki garden bread kids school photo maps "
         "insurance tax health sport cinema books jobs housing cars repair fitness ärzte café résumé "
         "Zürich Émile").split()


class Ids:
    def __init__(self):
        self.next = 1

    def take(self):
        value = self.next
        self.next += 1
        return str(value)


def timestamp(rng):
    # Microseconds since 1601, as Chromium stores dates.
    return str(13300000000000000 + rng.randrange(10**14))


def bookmark(rng, ids, index):
    word = rng.choice(WORDS)
    node = {"date_added": timestamp(rng), "date_last_used": "0", "guid": str(uuid.UUID(int=rng.getrandbits(128), version=4)),
            "id": ids.take(), "type": "url"}
    roll = rng.random()
    if roll < 0.03:
        node["url"] = "https://dup%d.example/" % rng.randrange(50)
    else:
        node["url"] = "https://%s%d.example/%d" % (word.encode("ascii", "ignore").decode() or "x", index % 997, index)
    if roll < 0.01:
        pass  # no name at all
    elif roll < 0.02:
        node["name"] = ""
    elif roll < 0.05:
        node["name"] = word  # a same name, likely
    else:
        node["name"] = "%s %s <%d>" % (word.capitalize(), rng.choice(WORDS), index)
    if rng.random() < 0.02:
        node["meta_info"] = {"power_bookmark_meta": "", "last_visited_desktop": timestamp(rng)}
    if rng.random() < 0.01:
        node["unknown_future_key"] = {"kept": [1, 2.5, True, None, "x"]}
    return node


def folder(rng, ids, name, children):
    node = {"children": children, "date_added": timestamp(rng), "date_last_used": "0", "date_modified": timestamp(rng),
            "guid": str(uuid.UUID(int=rng.getrandbits(128), version=4)), "id": ids.take(), "name": name, "type": "folder"}
    if rng.random() < 0.05:
        node["meta_info"] = {"note": "folder"}
    return node


def subtree(rng, ids, count, depth, counter):
    children = []
    while count > 0:
        if depth < 8 and count > 3 and rng.random() < 0.15:
            part = rng.randint(1, max(1, count // 2))
            children.append(folder(rng, ids, rng.choice(WORDS).capitalize(), subtree(rng, ids, part, depth + 1, counter)))
            count -= part
        else:
            counter[0] += 1
            children.append(bookmark(rng, ids, counter[0]))
            count -= 1
    if rng.random() < 0.02:
        children.append(folder(rng, ids, "Empty", []))
    return children


def root(name, guid, ids, children):
    return {"children": children, "date_added": "13300000000000000", "date_last_used": "0",
            "date_modified": "13300000000000000", "guid": guid, "id": ids.take(), "name": name, "type": "folder"}


def checksum(roots):
    digest = hashlib.md5()

    def visit(node):
        digest.update(node["id"].encode())
        digest.update(node.get("name", "").encode("utf-16-le"))
        if node["type"] == "url":
            digest.update(b"url")
            digest.update(node["url"].encode())
        else:
            digest.update(b"folder")
            for child in node["children"]:
                visit(child)

    for key in ("bookmark_bar", "other", "synced"):
        visit(roots[key])
    return digest.hexdigest()


def escape(text):
    out = ['"']
    for ch in text:
        code = ord(ch)
        if ch == '"':
            out.append('\\"')
        elif ch == "\\":
            out.append("\\\\")
        elif ch == "<":
            out.append("\\u003C")
        elif ch in "\b\f\n\r\t":
            out.append({"\b": "\\b", "\f": "\\f", "\n": "\\n", "\r": "\\r", "\t": "\\t"}[ch])
        elif code < 0x20 or code in (0x2028, 0x2029):
            out.append("\\u%04X" % code)
        else:
            out.append(ch)
    out.append('"')
    return "".join(out)


def write(value, depth, out):
    if isinstance(value, dict):
        out.append("{\n")
        for i, key in enumerate(sorted(value)):
            if i:
                out.append(",\n")
            out.append("   " * (depth + 1) + escape(key) + ": ")
            write(value[key], depth + 1, out)
        if value:
            out.append("\n")
        out.append("   " * depth + "}")
    elif isinstance(value, list):
        out.append("[ ")
        for i, item in enumerate(value):
            if i:
                out.append(", ")
            write(item, depth, out)
        out.append(" ]")
    elif isinstance(value, str):
        out.append(escape(value))
    elif value is True or value is False:
        out.append("true" if value else "false")
    elif value is None:
        out.append("null")
    elif isinstance(value, float):
        out.append(repr(value))
    else:
        out.append(str(value))


def make(count, seed):
    rng = random.Random(seed)
    ids = Ids()
    counter = [0]
    bar_count = min(count, max(1, count // 100))
    mobile_count = min(count - bar_count, max(0, count // 200))
    rest = count - bar_count - mobile_count
    large = rest // 5
    bar = root("Bookmarks bar", "0bc5d13f-2cba-5d74-951f-3f233fe6c908", ids, subtree(rng, ids, bar_count, 1, counter))
    other_children = [folder(rng, ids, "Large folder", [bookmark(rng, ids, counter[0] + i) for i in range(large)])]
    counter[0] += large
    other_children += subtree(rng, ids, rest - large, 1, counter)
    other = root("Other bookmarks", "82b081ec-3dd3-529c-8475-ab6c344590dd", ids, other_children)
    synced = root("Mobile bookmarks", "4cf2e351-0e85-532b-bb37-df045d8f8d0f", ids, subtree(rng, ids, mobile_count, 1, counter))
    roots = {"bookmark_bar": bar, "other": other, "synced": synced}
    return {"checksum": checksum(roots), "roots": roots, "version": 1}


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("count", type=int, help="number of bookmarks")
    parser.add_argument("out", help="file to write")
    parser.add_argument("--seed", type=int, default=1, help="random seed (default 1)")
    args = parser.parse_args(argv)
    if args.count < 0:
        parser.error("the count must not be negative")
    out = []
    write(make(args.count, args.seed), 0, out)
    out.append("\n")
    with open(args.out, "w", encoding="utf-8") as f:
        f.write("".join(out))


if __name__ == "__main__":
    main(sys.argv[1:])
