#!/usr/bin/env python3
"""Writes a large bookmarks property list (binary) for the benchmarks.

    python3 bench/make_bookmarks.py N OUT.plist [--seed S]

The file has the shape of a real one: the History proxy, BookmarksBar, BookmarksMenu, the hidden
reading list, then user folders nested 1 to 6 deep with 5 to 60 entries each. N counts the leaves
(bookmarks), reading-list items included. The same N and seed always give the same bytes.
"""

import argparse
import datetime
import math
import plistlib
import random
import sys

MAX_DEPTH = 6       # a user folder directly under the root is at depth 1
MIN_ENTRIES = 5
MAX_ENTRIES = 60

WORDS = (
    "apple banana river mountain cloud garden station market recipe travel guide photo music "
    "video news weather science history review design coffee bread kitchen office project "
    "budget report meeting school library museum theatre cinema football tennis running cycling "
    "holiday island beach forest winter summer autumn spring harbour bridge castle village city "
    "camera laptop phone tablet printer network server database python compiler kernel shell "
    "editor browser bookmark archive backup invoice receipt insurance doctor dentist pharmacy "
    "bank loan mortgage pension tax family friends wedding birthday gift shopping fashion shoes "
    "jacket furniture lamp paint garden tools bicycle car train flight hotel hostel map tickets "
    "concert festival podcast radio blog forum wiki tutorial course lecture exam homework "
    "chemistry physics biology astronomy geology poetry novel comic magazine journal"
).split()
# Titles people really give bookmarks: accents, other scripts, emoji.
FOREIGN = (
    "café naïve Zürich São Paulo Málaga crème brûlée Ærø Øresund Łódź Kraków Ελληνικά Привет "
    "Москва 日本語 東京 北京 料理 ニュース 한국어 서울 עברית العربية हिन्दी 🚀 🎉 📚 ☕ 🇫🇷 😀"
).split()
DOMAINS = (
    "example github wikipedia nytimes theguardian bbc stackoverflow reddit youtube medium "
    "arxiv nature mozilla python rust-lang cppreference kernel debian archlinux apple "
    "openstreetmap weather recipes bandcamp spotify imdb goodreads etsy ebay craigslist"
).split()
TLDS = ("com", "org", "net", "io", "co.uk", "de", "fr", "jp", "com.br", "dev")
SUBDOMAINS = ("", "", "", "www.", "en.", "docs.", "blog.", "m.", "news.", "shop.")
PATH_PARTS = (
    "articles 2023 2024 05 12 index.html wiki issues pull 1234 user settings docs en-US "
    "reference api v2 search blog post how-to-bake-bread best-cameras-of-the-year watch "
    "recipes vegetarian products item 987654 category travel guides europe"
).split()
QUERY_KEYS = ("q", "id", "ref", "page", "lang", "utm_source", "sort")


class Generator:
    def __init__(self, seed):
        self.rng = random.Random(seed)
        self.seen_titles = []
        self.epoch = datetime.datetime(2015, 1, 1)

    def uuid(self):
        h = "%032X" % self.rng.getrandbits(128)
        return "%s-%s-%s-%s-%s" % (h[0:8], h[8:12], h[12:16], h[16:20], h[20:32])

    def word(self):
        rng = self.rng
        w = rng.choice(FOREIGN) if rng.random() < 0.06 else rng.choice(WORDS)
        style = rng.random()
        if style < 0.5:
            return w.capitalize()
        if style < 0.6:
            return w.upper()
        return w

    def title(self):
        rng = self.rng
        # Some titles repeat, as real collections hold the same page saved twice.
        if self.seen_titles and rng.random() < 0.05:
            return rng.choice(self.seen_titles)
        t = " ".join(self.word() for _ in range(rng.randint(1, 6)))
        if len(self.seen_titles) < 5000:
            self.seen_titles.append(t)
        else:
            self.seen_titles[rng.randrange(5000)] = t
        return t

    def url(self):
        rng = self.rng
        target = rng.randint(30, 80)
        u = "https://%s%s.%s/" % (rng.choice(SUBDOMAINS), rng.choice(DOMAINS), rng.choice(TLDS))
        while len(u) < target - 12:
            u += rng.choice(PATH_PARTS) + "/"
        if rng.random() < 0.3:
            u += "?%s=%d" % (rng.choice(QUERY_KEYS), rng.randrange(100000))
        while len(u) < 30:
            u += rng.choice(PATH_PARTS)
        return u[:80]

    def leaf(self):
        rng = self.rng
        item = {
            "WebBookmarkType": "WebBookmarkTypeLeaf",
            "WebBookmarkUUID": self.uuid(),
            "URLString": self.url(),
            "URIDictionary": {"title": self.title()},
        }
        if rng.random() < 0.1:
            item["Sync"] = {"ServerID": self.uuid(), "Data": rng.randbytes(rng.randint(24, 36))}
        return item

    def reading_item(self):
        item = self.leaf()
        added = self.epoch + datetime.timedelta(seconds=self.rng.randrange(300_000_000))
        preview = " ".join(self.word() for _ in range(self.rng.randint(8, 30)))
        item["ReadingList"] = {"DateAdded": added, "PreviewText": preview}
        return item

    def folder(self, title, children):
        return {
            "WebBookmarkType": "WebBookmarkTypeList",
            "Title": title,
            "WebBookmarkUUID": self.uuid(),
            "Children": children,
        }

    def split(self, total, parts, cap):
        """`total` leaves in `parts` shares of at least MIN_ENTRIES (when there are enough), none
        above `cap`; uneven, so that some branches run deep and others stay shallow."""
        floor = MIN_ENTRIES if total >= parts * MIN_ENTRIES else 0
        spare = total - parts * floor
        weights = [self.rng.expovariate(1.0) + 0.05 for _ in range(parts)]
        scale = spare / sum(weights)
        shares = [min(cap, floor + int(w * scale)) for w in weights]
        i = 0
        while sum(shares) < total:
            room = min(cap - shares[i], total - sum(shares))
            shares[i] += max(0, min(room, max(1, total // parts)))
            i = (i + 1) % parts
        return shares

    def children(self, leaves, depth):
        """Entries of a folder at `depth` that hold exactly `leaves` leaves beneath them."""
        rng = self.rng
        if leaves <= MAX_ENTRIES or depth == MAX_DEPTH:
            out = [self.leaf() for _ in range(leaves)]
            if depth < MAX_DEPTH and leaves >= 3 * MIN_ENTRIES and rng.random() < 0.3:
                inner = rng.randint(MIN_ENTRIES, leaves // 2)
                del out[:inner]
                out.insert(rng.randrange(len(out) + 1), self.folder(self.title(), self.children(inner, depth + 1)))
            return out
        cap = MAX_ENTRIES ** (MAX_DEPTH - depth)  # the most a subfolder at depth + 1 can hold
        entries = rng.randint(MIN_ENTRIES, MAX_ENTRIES)
        here = rng.randint(0, entries // 3)
        # Subfolders of some 10 to 60 leaves on average, fewer when the folder is not much
        # bigger than that, so that not every small folder is split into minimal ones.
        wanted = round((leaves - here) / rng.uniform(10, MAX_ENTRIES))
        folders = max(1, min(entries - here, wanted), math.ceil((leaves - here) / cap))
        out = [self.leaf() for _ in range(here)]
        for share in self.split(leaves - here, folders, cap):
            out.append(self.folder(self.title(), self.children(share, depth + 1)))
        rng.shuffle(out)
        return out

    def document(self, n):
        rng = self.rng
        reading = min(1000, max(1, n // 100)) if n > 0 else 0
        bar = n // 20
        menu = n // 20
        rest = n - reading - bar - menu
        user_folders = rng.randint(5, 20)
        top = [
            {
                "WebBookmarkType": "WebBookmarkTypeProxy",
                "WebBookmarkIdentifier": "History",
                "Title": "History",
                "WebBookmarkUUID": self.uuid(),
            },
            self.folder("BookmarksBar", self.children(bar, 1)),
            self.folder("BookmarksMenu", self.children(menu, 1)),
        ]
        reading_list = self.folder("com.apple.ReadingList", [self.reading_item() for _ in range(reading)])
        reading_list["ShouldOmitFromUI"] = True
        top.append(reading_list)
        cap = MAX_ENTRIES ** MAX_DEPTH
        for share in self.split(rest, user_folders, cap):
            top.append(self.folder(self.title(), self.children(share, 1)))
        return {
            "WebBookmarkFileVersion": 1,
            "WebBookmarkType": "WebBookmarkTypeList",
            "WebBookmarkUUID": self.uuid(),
            "Title": "",
            "Children": top,
        }


def main(argv):
    parser = argparse.ArgumentParser(description="Write a large bookmarks property list for benchmarks.")
    parser.add_argument("count", type=int, help="number of bookmarks (leaves)")
    parser.add_argument("out", help="file to write (binary property list)")
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args(argv)
    if args.count < 0:
        parser.error("the count must not be negative")
    root = Generator(args.seed).document(args.count)
    # Key order as built, so the file does not depend on a sort.
    with open(args.out, "wb") as f:
        plistlib.dump(root, f, fmt=plistlib.FMT_BINARY, sort_keys=False)


if __name__ == "__main__":
    main(sys.argv[1:])
