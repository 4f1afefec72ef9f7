#!/usr/bin/env python3
"""Shows the events of a CSV file as a table, and checks the file while at it.

Usage: show_csv.py FILE COUNT

Fails unless the file has the 20 known columns, in each row too, and COUNT rows.
"""
import csv
import sys

COLUMNS = (
    "version,event_id,utc_iso,utc_ns,severity,action,event_type,source_id,source_name,dedupe_key,"
    "correlation_id,message,value,threshold,units,duration_ms,ptp_ns,pts,timecode,details_json"
).split(",")
SHOWN = ["event_id", "utc_iso", "severity", "action", "source_id", "value", "threshold", "units",
         "message"]


def shown(row, name):
    cell = row[COLUMNS.index(name)]
    return f"{float(cell):g}" if name in ("value", "threshold") else cell


def main(path, count):
    with open(path, newline="", encoding="utf-8") as file:
        header, *rows = list(csv.reader(file, strict=True)) or [[]]
    if header != COLUMNS:
        return f"unexpected header: {header}"
    for number, row in enumerate(rows, start=2):
        if len(row) != len(COLUMNS):
            return f"row {number} has {len(row)} columns"

    table = [SHOWN] + [[shown(row, name) for name in SHOWN] for row in rows]
    widths = [max(map(len, column)) for column in zip(*table)]
    for row in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())

    if len(rows) != count or count == 0:
        return f"{len(rows)} rows, but {count} events were delivered"
    print(f"{len(rows)} rows of {len(COLUMNS)} columns, one for each delivered event")
    return None


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], int(sys.argv[2])))
