"""The same database work in Python, from opening to closing. Prints processor seconds.

save FILE DATABASE: the records of a flat file, read before, by executemany.
load DATABASE: all rows by fetchall."""

import sqlite3
import sys
import time


def records(path):
    data = open(path, "rb").read().decode("utf-8", "surrogateescape")
    rows, at = [], 0
    while at < len(data):
        bar = data.index("|", at)
        end = bar + 1 + int(data[at:bar])
        size, kind, modified, started, _ = data[end : end + 80].split("|", 4)
        numbers = f"{size}|{kind}|{modified}|{started}|"
        rows.append((data[bar + 1 : end], end - bar - 1, int(size), int(kind), float(modified), float(started)))
        at = end + len(numbers)
    return rows


if sys.argv[1] == "save":
    rows = records(sys.argv[2])
    start = time.process_time()
    database = sqlite3.connect(sys.argv[3])
    database.execute(
        "CREATE TABLE IF NOT EXISTS SNAPSHOT(PATH TEXT PRIMARY KEY NOT NULL, PATH_LENGTH INT NOT NULL,"
        "SIZE INT NOT NULL, TYPE INT NOT NULL, MODIFIED_TIME NUMERIC, STARTED_TIME NUMERIC)"
    )
    database.executemany("INSERT OR REPLACE INTO SNAPSHOT VALUES(?,?,?,?,?,?)", rows)
    database.commit()
else:
    start = time.process_time()
    database = sqlite3.connect(sys.argv[2])
    rows = database.execute("SELECT * FROM SNAPSHOT").fetchall()
database.close()
print(time.process_time() - start)
