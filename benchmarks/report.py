"""Tables of what measure.py found, and the comparison with the targets."""

import json
import math
import statistics

# What stands in front of a table, its groups, and its columns: sides in the unit of the table.
SPEED, CALL = "GB/s of input", "ns per line"
TABLES = [
    ("Single-byte decode", "decode", "single", SPEED),
    ("Single-byte encode", "encode", "single", SPEED),
    ("Double-byte decode", "decode", "double", SPEED),
    ("Double-byte encode", "encode", "double", SPEED),
    ("ASCII decode", "ascii-decode", "ascii", SPEED),
    ("ASCII encode", "ascii-encode", "ascii", SPEED),
    ("UTF-8 decode", "utf8-decode", "all", SPEED),
    ("UTF-8 encode", "utf8-encode", "all", SPEED),
    ("Shift-JIS to JIS", "jis-encode", "all", SPEED),
    ("ConvertAll", "convert-all", "all", SPEED),
    ("Short lines, single-byte decode", "lines-decode", "single", CALL),
    ("Short lines, single-byte encode", "lines-encode", "single", CALL),
    ("Short lines, double-byte decode", "lines-decode", "double", CALL),
    ("Short lines, double-byte encode", "lines-encode", "double", CALL),
]
SIDES = ["kcodepage", "shift-jis-to-jis", "icu", "iconv", "encoding_rs", "memcpy"]

DOUBLE = ("shift_jis", "euc-kr", "gb2312", "big5")

# What is asked for, as factors over ICU or as shares: name, with SSE2 only, with what the processor has.
# The kind of each is in the function that finds it, below.
MEBIBYTE = 1 << 20


class Rounds:
    """What one side of one text took, round by round."""

    def __init__(self, least):
        self.middle = min if least else statistics.median
        self.least = least
        self.items, self.iterations, self.bytes = [], [], 0.0

    def add(self, item, iteration, size):
        self.items.append(item)            # nanoseconds for one text, or line
        self.iterations.append(iteration)  # nanoseconds of the processor for one iteration
        self.bytes = size                  # bytes of input in one text, or line

    def item(self):
        return self.middle(self.items)

    def iteration(self):
        return self.middle(self.iterations)

    def speed(self):
        return self.bytes / self.item()

    def over(self, other):
        """How many times as fast this is: the median of the rounds' ratios, for the two stood side by side."""
        if self.least:
            return other.item() / self.item()
        return statistics.median(theirs / ours for ours, theirs in zip(self.items, other.items))


def kind(text):
    page = text.split(".")[0]
    return "ascii" if page == "us-ascii" else "double" if page in DOUBLE else "single"


def keys(medians, group, of):
    """The measurements of a group whose text is of a kind."""
    found = []
    for key in sorted(medians):
        its_group, text = key.split("/")
        if its_group == group and (of in ("all", kind(text)) or group.startswith("ascii")):
            found.append(key)
        elif of == "ascii" and group == "ascii-" + its_group and kind(text) == "ascii":
            found.append(key)
    return found


def ratio(row, over, side="kcodepage"):
    """How many times as fast as `over`, or None when one of them was not measured."""
    return row[side].over(row[over]) if over in row and side in row else None


def ratios(medians, group, of, over="icu", side="kcodepage"):
    found = {key: ratio(medians[key], over, side) for key in keys(medians, group, of)}
    return {key.split("/")[1]: value for key, value in found.items() if value is not None}


def mean(values):
    values = list(values)
    return math.exp(sum(map(math.log, values)) / len(values))


def number(value):
    return "" if value is None else f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def row_of(cells):
    return "| " + " | ".join(cells) + " |\n"


def table(results, title, group, of, unit):
    levels = list(results["levels"])
    main = results["levels"].get("best") or results["levels"][levels[-1]]
    found = keys(main, group, of)
    if not found:
        return ""
    sides = [side for side in SIDES if any(side in main[key] for key in found)]
    our = "shift-jis-to-jis" if group == "jis-encode" else "kcodepage"
    text = f"**{title}**, {unit}\n\n"
    text += row_of(["text"] + sides + [f"over ICU, {level}" for level in levels])
    text += row_of(["---"] + ["---:"] * (len(sides) + len(levels)))
    for key in found:
        cells = []
        for side in sides:
            value = main[key].get(side)
            cells.append("" if value is None else number(value.speed() if unit == SPEED else value.item()))
        for level in levels:
            cells.append(number(ratio(results["levels"][level].get(key, {}), "icu", our)))
        text += row_of([key.split("/")[1]] + cells)
    for name, function in (("geometric mean", mean), ("worst", min)):
        cells = [""] * len(sides)
        for level in levels:
            values = ratios(results["levels"][level], group, of, "icu", our).values()
            cells.append(number(function(values)) if values else "")
        text += row_of([f"*{name}*"] + cells)
    return text + "\n"


def shares_table(results, title, group):
    medians = list(results["levels"].values())[-1]
    shares = ratios(medians, group, "all", "whole")
    if not shares:
        return ""
    worst = min(shares, key=shares.get)
    over = ratios(medians, group, "all").values()
    return row_of([title, number(mean(shares.values())), number(shares[worst]), worst,
                   number(mean(over)) if over else "", number(min(over)) if over else ""])


def threads_table(results):
    medians = list(results["levels"].values())[-1]
    text = ""
    for group in ("threads-decode", "threads-encode"):
        for key in keys(medians, group, "all"):
            row = medians[key]
            if "kcodepage:1" not in row:
                continue
            one = row["kcodepage:1"]
            cells = [key, number(one.item())]
            for count in (2, 3, 4):
                several = row.get(f"kcodepage:{count}")
                cells.append(number(several and several.over(one)))
            several = row.get("kcodepage:4")
            cells.append(number(several and several.iteration() / one.iteration()))
            cells.append(number(ratio(row, "icu:4", "kcodepage:4")))
            text += row_of(cells)
    if not text:
        return ""
    return ("**Threads**, short lines on one shared object: ns per line with one thread, the rate of 2, 3 and 4 threads "
            "over it, processor time per line of 4 threads over that of one, and 4 threads over 4 of ICU, a converter each\n\n"
            + row_of(["text", "1", "2", "3", "4", "processor time", "over ICU"]) + row_of(["---"] + ["---:"] * 6) + text + "\n")


def cold_table(results):
    if not results["cold"]:
        return ""
    text = ("**Cold**: a new process's first GetCodePage, the first character both ways after it, and resident memory for both\n\n"
            + row_of(["page", "services, ms", "first character, ms", "MiB", "files, ms", "first character, ms", "MiB"])
            + row_of(["---"] + ["---:"] * 6))
    for page in next(iter(results["cold"].values())):
        cells = []
        for route in ("services", "files"):
            values = results["cold"].get(route, {}).get(page)
            cells += ["", "", ""] if values is None else [
                f"{values[0] / 1e6:.2f}", f"{values[1] / 1e6:.3f}", f"{values[2] / MEBIBYTE:.2f}"]
        text += row_of([page] + cells)
    return text + "\n"


def programs_table(results):
    if not results["programs"]:
        return ""
    text = (f"**The command**, {results['programs_bytes'] // MEBIBYTE} MiB of Shift-JIS to UTF-8, file to file in memory\n\n"
            + row_of(["program", "seconds", "of the processor", "MiB", "kcodepage is faster by"])
            + row_of(["---"] + ["---:"] * 4))
    ours = results["programs"]["kcodepage"][0]
    for name, (wall, processor, memory) in results["programs"].items():
        text += row_of([name, f"{wall:.2f}", f"{processor:.2f}", f"{memory / 1024:.1f}", number(wall / ours)])
    return text + "\n"


def tables(results):
    machine = results["machine"]
    text = (f"{machine['processor']}; {machine['system']}; {machine['compiler']}; ICU {machine['icu']}; "
            f"{results['date']}; `{results['command']}`\n\n")
    for title, group, of, unit in TABLES:
        text += table(results, title, group, of, unit)
    shares = "".join(shares_table(results, title, group) for title, group in (
        ("encode in blocks of 4 KiB", "blocks-encode"), ("TextDecoder in chunks of 64 KiB", "stream-decode"),
        ("TextEncoder in chunks of 64 KiB", "stream-encode")))
    if shares:
        text += ("**Pieces**, share of the speed of one call\n\n" + row_of(["", "geometric mean", "worst", "of",
                                                                                     "over ICU in pieces", "worst"])
                 + row_of(["---", "---:", "---:", "---", "---:", "---:"]) + shares + "\n")
    return text + threads_table(results) + cold_table(results) + programs_table(results)


def of_kind(function, group, of, over="icu", side="kcodepage"):
    def value(medians):
        found = ratios(medians, group, of, over, side)
        if not found:
            return None, ""
        if function is mean:
            return mean(found.values()), ""
        worst = min(found, key=found.get)
        return found[worst], worst
    return value


def worst_of(*values):
    def value(medians):
        found = [each(medians) for each in values]
        found = [each for each in found if each[0] is not None]
        return min(found) if found else (None, "")
    return value


def blocks(which):
    def value(medians):
        shares = ratios(medians, "blocks-encode", "all", "whole")
        shares = {text: share for text, share in shares.items()
                  if (text.partition(":")[0] if ":" in text else "tables") == which}
        worst = min(shares, key=shares.get, default=None)
        return (shares[worst], worst) if shares else (None, "")
    return value


def threads(medians):
    found = []
    for group in ("threads-decode", "threads-encode"):
        for key in keys(medians, group, "all"):
            if "kcodepage:1" in medians[key] and "kcodepage:4" in medians[key]:
                found.append((medians[key]["kcodepage:4"].over(medians[key]["kcodepage:1"]), key))
    return min(found, default=(None, ""))


# Name, with SSE2 only, with what the processor has, and the value of a level's medians.
TARGETS = [
    ("single-byte decode, geometric mean", 2.2, 8, of_kind(mean, "decode", "single")),
    ("single-byte decode, worst", 1.6, 5, of_kind(min, "decode", "single")),
    ("single-byte encode, geometric mean", 7, 15, of_kind(mean, "encode", "single")),
    ("single-byte encode, worst", 5, 10, of_kind(min, "encode", "single")),
    ("double-byte decode, worst", 3, 6, of_kind(min, "decode", "double")),
    ("double-byte encode, worst", 3.5, 8, of_kind(min, "encode", "double")),
    ("ASCII, both ways, worst", 4, 4.5, worst_of(of_kind(min, "ascii-decode", "ascii"),
                                                 of_kind(min, "ascii-encode", "ascii"))),
    ("UTF-8 decode, worst", 2, 5, of_kind(min, "utf8-decode", "all")),
    ("UTF-8 encode, worst", 1.2, 5, of_kind(min, "utf8-encode", "all")),
    ("Shift-JIS to JIS, worst", 10, 15, of_kind(min, "jis-encode", "all", side="shift-jis-to-jis")),
    ("blocks of 4 KiB, tables, worst", 0.9, 0.9, blocks("tables")),
    ("blocks of 4 KiB, iso-2022-jp, worst", 0.9, 0.9, blocks("iso-2022-jp")),
    ("blocks of 4 KiB, utf-8, worst", 0.9, 0.9, blocks("utf-8")),
    ("TextDecoder in chunks of 64 KiB, worst", 0.95, 0.95, of_kind(min, "stream-decode", "all", "whole")),
    ("TextEncoder in chunks of 64 KiB, worst", 0.95, 0.95, of_kind(min, "stream-encode", "all", "whole")),
    ("short lines, single-byte decode, worst", 2, 3, of_kind(min, "lines-decode", "single")),
    ("short lines, single-byte encode, worst", 3, 5, of_kind(min, "lines-encode", "single")),
    ("short lines, double-byte decode, worst", 2, 2.5, of_kind(min, "lines-decode", "double")),
    ("short lines, double-byte encode, worst", 2, 3, of_kind(min, "lines-encode", "double")),
    ("four threads over one, worst", 1.8, 1.8, threads),
]


def limits(results):
    """Rows of what may be at most so much: name, limit, value, which."""
    rows = []
    for route, limit in (("services", 2), ("files", 1)):
        pages = results["cold"].get(route, {})
        if pages:
            slowest = max(pages, key=lambda page: pages[page][0])
            rows.append((f"GetCodePage from {route}, ms", limit, pages[slowest][0] / 1e6, slowest))
    everything = [(values[2] / MEBIBYTE, page) for pages in results["cold"].values() for page, values in pages.items()]
    if everything:
        rows.append(("a page's resident memory, MiB", 2.5, *max(everything)))
    if results["programs"]:
        rows.append(("the command's memory, MiB", 64, results["programs"]["kcodepage"][2] / 1024, ""))
    return rows


def targets(results):
    """The comparison as text, and whether all that was measured is met."""
    text = row_of(["target", "level", "wanted", "measured", "", "of"])
    text += row_of(["---", "---", "---:", "---:", "---", "---"])
    passed = True
    for name, plain, best, value in TARGETS:
        for level, medians in results["levels"].items():
            wanted = plain if level in ("sse2", "plain") else best
            found, which = value(medians)
            if found is not None:
                good = found >= wanted
                passed = passed and good
                text += row_of([name, level, number(wanted), number(found), "pass" if good else "MISS", which])
    programs = results["programs"]
    for peer in ("iconv", "uconv"):
        if programs:
            found = programs[peer][0] / programs["kcodepage"][0]
            passed = passed and found >= 4
            text += row_of([f"the command over {peer}", "best", "4", number(found), "pass" if found >= 4 else "MISS", ""])
    for name, limit, found, which in limits(results):
        passed = passed and found < limit
        text += row_of([name, "best", f"< {limit}", number(found), "pass" if found < limit else "MISS", which])
    return text, passed


def write_json(path, results):
    """One line for each measurement, so that a difference can be read."""
    def dump(value):
        return json.dumps(value, separators=(", ", ": "))

    def rounded(value):
        if isinstance(value, dict):
            return {key: rounded(each) for key, each in value.items()}
        if isinstance(value, (list, tuple)):
            return [rounded(each) for each in value]
        return float(f"{value:.4g}") if isinstance(value, float) else value

    lines = []
    for part, value in rounded(results).items():
        if part == "levels":
            levels = []
            for level, medians in value.items():
                rows = ",\n    ".join(dump(key) + ": " + dump({
                    side: rounded(each.item()) for side, each in row.items()} | {"bytes": round(next(iter(row.values())).bytes, 1)})
                    for key, row in medians.items())
                levels.append(f"  {dump(level)}: {{\n    {rows}\n  }}")
            lines.append('"levels": {\n' + ",\n".join(levels) + "\n}")
        else:
            lines.append(dump(part) + ": " + dump(value))
    with open(path, "w", encoding="ascii") as file:
        file.write("{\n" + ",\n".join(lines) + "\n}\n")


BEGIN, END = "<!-- Written by scripts/benchmark --docs: begin -->\n", "<!-- end -->\n"


def write_tables(path, results):
    with open(path, encoding="utf-8") as file:
        before, _, rest = file.read().partition(BEGIN)
    _, _, after = rest.partition(END)
    with open(path, "w", encoding="utf-8") as file:
        file.write(before + BEGIN + "\n" + tables(results) + targets(results)[0] + "\n" + END + after)
