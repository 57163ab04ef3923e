#!/usr/bin/env python3
"""Writes examples/Bookmarks.plist: a Safari-style bookmarks file of a few hundred entries that
shows what a sort has to deal with. It is unsorted and holds duplicate addresses, same-named
entries, untitled and blank entries, broken bookmarks, empty folders, a hidden Reading List and
titles in several scripts. The output is the same on every run (fixed seed and dates).

usage: scripts/make_sample_bookmarks.py [OUTPUT]     (default: examples/Bookmarks.plist)
"""
import datetime
import plistlib
import random
import sys
import uuid
from pathlib import Path

rng = random.Random(20061)

SITES = [
    ("Zeitung Online", "https://www.zeit.example/"), ("apple", "https://www.apple.example/"),
    ("BBC News", "https://www.bbc.example/news"), ("Wikipedia", "https://en.wikipedia.example/"),
    ("Île de France", "https://www.iledefrance.example/"), ("ÄRZTE-Verzeichnis", "https://aerzte.example/"),
    ("日本語ニュース", "https://news.example.jp/"), ("Новости", "https://news.example.ru/"),
    ("Ελληνικά", "https://greek.example.gr/"), ("café crème", "https://cafe.example.fr/"),
    ("Cafe Racer", "https://caferacer.example/"), ("eBay", "https://www.ebay.example/"),
    ("GitHub", "https://github.example/"), ("github", "https://github.example/explore"),
    ("Hacker News", "https://news.ycombinator.example/"), ("Maps", "https://maps.example/"),
    ("Recipes 🍝", "https://recipes.example/pasta"), ("Weather", "https://weather.example/"),
    ("weather", "https://weather.example/week"), ("Øresund Bridge", "https://oresund.example/"),
    ("Zürich Tourismus", "https://zuerich.example/"), ("årsrapport", "https://arsrapport.example.se/"),
    ("Čeština", "https://cz.example/"), ("中文网站", "https://zh.example.cn/"), ("한국어", "https://ko.example.kr/"),
]
WORDS = ["Garden", "Python", "Travel", "banking", "Music", "recipes", "Photography", "kids", "Taxes",
         "Cycling", "astronomy", "Books", "DIY", "Movies", "Insurance", "Bread", "chess", "Hiking"]


def new_uuid():
    return str(uuid.UUID(int=rng.getrandbits(128), version=4)).upper()


def leaf(title, url):
    node = {"WebBookmarkType": "WebBookmarkTypeLeaf", "WebBookmarkUUID": new_uuid(), "URLString": url}
    if title is not None:
        node["URIDictionary"] = {"title": title}
    else:
        node["URIDictionary"] = {}
    return node


def folder(title, children, **extra):
    node = {"WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": new_uuid(), "Children": children}
    if title is not None:
        node["Title"] = title
    node.update(extra)
    return node


def random_leaf(i):
    r = rng.random()
    if r < 0.55:
        title, url = rng.choice(SITES)
        return leaf(title, url)                            # duplicates across and within folders
    if r < 0.60:
        return leaf(None, f"https://untitled{i}.example/")     # untitled
    if r < 0.64:
        return leaf("   ", f"https://blank{i}.example/")       # blank title
    if r < 0.67:
        node = leaf(f"Broken {i}", "")                          # no address
        return node
    word = rng.choice(WORDS)
    return leaf(f"{word} {rng.choice(['guide', 'Home', 'forum', 'Shop', 'blog'])}",
                f"https://{word.lower()}{i}.example/{rng.randint(1, 999)}")


def random_folder(depth, counter):
    children = []
    for _ in range(rng.randint(3, 14)):
        counter[0] += 1
        if depth < 3 and rng.random() < 0.18:
            children.append(random_folder(depth + 1, counter))
        else:
            children.append(random_leaf(counter[0]))
    if rng.random() < 0.15:
        children.append(folder(rng.choice(WORDS) + " (empty)", []))
    name = rng.choice(WORDS) if rng.random() > 0.1 else rng.choice(["Ärger", "zzz", "Ämter", "ünïcödé", "Éditions"])
    return folder(name, children)


def build():
    counter = [0]
    date = datetime.datetime(2021, 3, 14, 15, 9, 26)
    reading_list = folder("com.apple.ReadingList", [
        dict(leaf("Long read", "https://longread.example/"), ReadingList={"DateAdded": date, "PreviewText": "An essay"}),
        dict(leaf("Another article", "https://article.example/"), ReadingList={"DateAdded": date}),
    ], ShouldOmitFromUI=True)
    bar = folder("BookmarksBar", [random_leaf(i) for i in range(12)] + [random_folder(1, counter) for _ in range(3)])
    menu = folder("BookmarksMenu", [random_folder(1, counter) for _ in range(6)] + [random_leaf(i) for i in range(8)])
    history = {"WebBookmarkType": "WebBookmarkTypeProxy", "WebBookmarkIdentifier": "History", "Title": "History",
               "WebBookmarkUUID": new_uuid()}
    user = [random_folder(1, counter) for _ in range(4)] + [folder(None, []), folder("Empty at the root", [])]
    rng.shuffle(user)
    return {"WebBookmarkFileVersion": 1, "WebBookmarkType": "WebBookmarkTypeList", "WebBookmarkUUID": new_uuid(),
            "Title": "", "Children": [history, bar, menu, reading_list] + user}


def main(argv):
    if argv in (["-h"], ["--help"]):
        print(__doc__.strip())
        return
    # An OUTPUT that looks like an option is a mistyped option, not a file to write.
    if len(argv) > 1 or (argv and argv[0].startswith("-")):
        print("usage: scripts/make_sample_bookmarks.py [OUTPUT]  (default: examples/Bookmarks.plist)", file=sys.stderr)
        sys.exit(64)
    out = Path(argv[0]) if argv else Path(__file__).resolve().parent.parent / "examples" / "Bookmarks.plist"
    with open(out, "wb") as f:
        plistlib.dump(build(), f, fmt=plistlib.FMT_BINARY, sort_keys=False)


if __name__ == "__main__":
    main(sys.argv[1:])
