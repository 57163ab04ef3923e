#!/usr/bin/env python3
"""Write a realistic Firefox places.sqlite for benchmarks and manual checks.

The database has the schema Firefox ESR 153 creates (tests/data/firefox/places-v86.sql). Its
Bookmarks Menu holds one large folder (a fifth of the bookmarks) and many small ones, up to six
levels deep; the Bookmarks Toolbar a few entries; Other Bookmarks the rest. Here and there, what
makes sorting interesting: separators, saved queries ("place:"), duplicate addresses, NULL and
empty titles, same names, keywords. Every item has been synced (syncStatus 2), so that every
removal leaves a tombstone, as in a profile signed in to Firefox Sync.
"""
import argparse
import os
import random
import sqlite3
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SCHEMA = os.path.join(HERE, "..", "tests", "data", "firefox", "places-v86.sql")
WORDS = ("news weather recipes travel banking music video shop wiki garden bread kids school photo maps "
         "insurance tax health sport cinema books jobs housing cars repair fitness ärzte café résumé "
         "Zürich Émile").split()
MENU, TOOLBAR, UNFILED = 2, 3, 5
ADDED = 1764000000000000  # PRTime, microseconds


class Places:
    def __init__(self, db, rng):
        self.db, self.rng = db, rng
        self.next_item, self.pages, self.positions = 7, {}, {}

    def guid(self, prefix, n):
        text = "%s%d" % (prefix, n)
        return "_" * (12 - len(text)) + text

    def page(self, url):
        if url in self.pages:
            return self.pages[url]
        host = url.split("/")[2] if "//" in url else ""
        self.db.execute("INSERT OR IGNORE INTO moz_origins (prefix, host, frecency) VALUES ('https://', ?, 1)", (host,))
        cursor = self.db.execute(
            "INSERT INTO moz_places (url, guid, url_hash, frecency, origin_id, foreign_count) VALUES "
            "(?, ?, ?, 1, (SELECT id FROM moz_origins WHERE prefix = 'https://' AND host = ?), 0)",
            (url, self.guid("p", len(self.pages) + 1), hash(url) & 0xFFFFFFFFFFFF, host))
        self.pages[url] = cursor.lastrowid
        return cursor.lastrowid

    def add(self, parent, kind, title, url=None):
        item = self.next_item
        self.next_item += 1
        position = self.positions.get(parent, 0)
        self.positions[parent] = position + 1
        fk = self.page(url) if url is not None else None
        if fk is not None:
            self.db.execute("UPDATE moz_places SET foreign_count = foreign_count + 1 WHERE id = ?", (fk,))
        self.db.execute(
            "INSERT INTO moz_bookmarks (id, type, fk, parent, position, title, dateAdded, lastModified, guid, "
            "syncStatus, syncChangeCounter) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, 2, 0)",
            (item, kind, fk, parent, position, title, ADDED + item, ADDED + item, self.guid("b", item)))
        return item

    def bookmark(self, parent, index):
        rng, word = self.rng, self.rng.choice(WORDS)
        roll = rng.random()
        if roll < 0.03:
            url = "https://dup%d.example/" % rng.randrange(50)
        else:
            url = "https://%s%d.example/%d" % (word.encode("ascii", "ignore").decode() or "x", index % 997, index)
        if roll < 0.01:
            title = None
        elif roll < 0.02:
            title = ""
        elif roll < 0.05:
            title = word
        else:
            title = "%s %s <%d>" % (word.capitalize(), rng.choice(WORDS), index)
        if rng.random() < 0.002:
            url = "place:parent=%d&sort=12" % MENU
        self.add(parent, 1, title, url)
        if rng.random() < 0.001:
            self.db.execute("INSERT OR IGNORE INTO moz_keywords (keyword, place_id) VALUES (?, ?)",
                            ("kw%d" % index, self.pages[url]))
            self.db.execute("UPDATE moz_places SET foreign_count = foreign_count + 1 WHERE id = ?", (self.pages[url],))

    def fill(self, parent, count, depth, counter):
        while count > 0:
            if depth < 6 and count > 3 and self.rng.random() < 0.15:
                part = self.rng.randint(1, max(1, min(count // 2, 40)))
                self.fill(self.add(parent, 2, self.rng.choice(WORDS).capitalize()), part, depth + 1, counter)
                count -= part
            elif self.rng.random() < 0.01:
                self.add(parent, 3, None)
            else:
                counter[0] += 1
                self.bookmark(parent, counter[0])
                count -= 1
        if self.rng.random() < 0.02:
            self.add(parent, 2, "Empty")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("count", type=int, help="number of bookmarks")
    parser.add_argument("output", help="the database to write (replaced if it exists)")
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    if args.count < 10:
        sys.exit("make_places.py: COUNT must be at least 10")
    if os.path.exists(args.output):
        os.remove(args.output)
    db = sqlite3.connect(args.output, isolation_level=None)
    with open(SCHEMA, encoding="utf-8") as schema:
        db.executescript(schema.read())
    db.execute("PRAGMA synchronous = OFF")
    db.execute("BEGIN")
    places, counter = Places(db, random.Random(args.seed)), [0]
    places.fill(places.add(MENU, 2, "Everything"), args.count // 5, 6, counter)  # flat
    remaining = args.count - counter[0]
    places.fill(MENU, remaining * 3 // 4, 1, counter)
    places.fill(TOOLBAR, 15, 5, counter)
    places.fill(UNFILED, args.count - counter[0], 1, counter)
    db.execute("COMMIT")
    db.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    db.close()


if __name__ == "__main__":
    main()
