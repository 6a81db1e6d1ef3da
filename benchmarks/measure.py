#!/usr/bin/env python3
"""Measures the library and the command beside their peers; scripts/benchmark builds what this runs.

Everything is measured interleaved and several times, and the medians are reported. The processor time of the
thread counts where one thread works, the time on the wall where several do or where processes are started.
"""

import argparse
import datetime
import json
import os
import platform
import re
import shlex
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import picture
import report

ROOT = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
BUILD = os.path.join(ROOT, "build", "benchmark")
COMMAND = os.path.join(BUILD, "tool", "kcodepage")
TEXT_OF_COMMAND = "shift_jis.prose.txt"

# The two columns of the targets: what every x86-64 has, and the best that this processor has.
LEVELS = ["sse2", "best"]

ROUNDS, QUICK_ROUNDS = 7, 3


def parse_arguments():
    parser = argparse.ArgumentParser(
        prog="scripts/benchmark", description="Measures the library and the command beside their peers. "
        "Without options everything, in about five minutes.")
    parser.add_argument("--filter", metavar="REGEX", default="",
                        help="only measurements GROUP/TEXT/SIDE that match, cold/ROUTE and command")
    parser.add_argument("--quick", action="store_true", help="few rounds, a small text for the command")
    parser.add_argument("--least", action="store_true",
                        help="the least of the rounds in place of the median, for a busy machine")
    parser.add_argument("--kernels", metavar="LEVEL", help="only with this KCODEPAGE_KERNELS: plain, sse2, "
                        "avx2, avx512, or best for none (otherwise sse2 and best in turn)")
    parser.add_argument("--targets", action="store_true", help="compare with the targets, and nothing else")
    parser.add_argument("--texts", metavar="DIR", help="the texts (otherwise build/texts/bench, gathered if missing)")
    parser.add_argument("--json", metavar="FILE", help="write the medians there too")
    parser.add_argument("--docs", action="store_true",
                        help="renew docs/performance.json, docs/performance.svg and the tables of docs/performance.md")
    arguments = parser.parse_args()
    if arguments.docs and (arguments.filter or arguments.quick or arguments.least or arguments.kernels):
        parser.error("--docs wants everything measured")
    return arguments


def wanted(arguments, name):
    return re.search(arguments.filter, name) is not None


def middle(arguments):
    return min if arguments.least else statistics.median


def environment(level):
    result = dict(os.environ)
    result.pop("KCODEPAGE_KERNELS", None)
    if level != "best":
        result["KCODEPAGE_KERNELS"] = level
    return result


def command_line(arguments):
    """What to type to measure the same again, without the paths of this machine."""
    words = ["scripts/benchmark"]
    words += [f"--{name}" for name in ("quick", "least", "targets", "docs") if getattr(arguments, name)]
    for name in ("kernels", "filter"):
        if getattr(arguments, name):
            words += [f"--{name}", getattr(arguments, name)]
    return shlex.join(words)


def gather_texts():
    texts = os.path.join(ROOT, "build", "texts")
    if not os.path.isdir(os.path.join(texts, "bench")):
        # Only a complete gathering counts: an interrupted one is begun anew.
        with tempfile.TemporaryDirectory(dir=os.path.join(ROOT, "build")) as work:
            gathered = os.path.join(work, "texts")
            print("Gathering texts from Debian packages, once", file=sys.stderr)
            subprocess.run([os.path.join(ROOT, "scripts", "gather-texts"), gathered], check=True)
            shutil.rmtree(texts, ignore_errors=True)
            os.rename(gathered, texts)
    return os.path.join(texts, "bench")


def run_round(texts, level, only):
    """One run of the benchmark program: its rows and context, or none where nothing matches."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [os.path.join(BUILD, "benchmarks", "Benchmarks"), texts, "--benchmark_out=" + out.name,
                   "--benchmark_out_format=json", "--benchmark_filter=" + only, "--benchmark_min_time=0.01"]
        run = subprocess.run(command, env=environment(level), stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                             check=False)
        if run.returncode != 0:
            sys.exit(run.stderr.decode() + "The benchmark program failed.")
        text = out.read()
    data = json.loads(text) if text else {"benchmarks": [], "context": {}}
    return data["benchmarks"], data["context"]


def measure_conversions(arguments, texts):
    """{level: {"GROUP/TEXT": {side: Rounds}}}, the program's context, and what failed.

    In each round the sides of one text are measured one right after the other, and the levels in turn, so
    that whatever else the machine does disturbs them alike.
    """
    results, context, failures = {}, {}, {}
    for _ in range(QUICK_ROUNDS if arguments.quick else ROUNDS):
        for level in [arguments.kernels] if arguments.kernels else LEVELS:
            only = arguments.filter or "."
            if level != "best" and not arguments.kernels and not arguments.filter:
                only = "/(kcodepage|icu|whole|shift-jis-to-jis)$" # this column has ratios over these alone
            rows, context = run_round(texts, level, only)
            measured = results.setdefault(level, {})
            for row in rows:
                group, name, side, *rest = row["run_name"].split("/")
                if row.get("error_occurred"):
                    failures[f"{group}/{name}/{side}"] = row["error_message"]
                    continue
                if rest: # real_time/threads:2
                    side += ":" + rest[-1].removeprefix("threads:")
                rounds = measured.setdefault(f"{group}/{name}", {}).setdefault(side, report.Rounds(arguments.least))
                # Google Benchmark's rate is by the wall clock for several threads, by processor time for one.
                rounds.add(1e9 / row["items_per_second"], row["cpu_time"],
                           row["bytes_per_second"] / row["items_per_second"])
    return results, context, failures


def measure_cold(arguments, directory):
    """{ROUTE: {PAGE: [nanoseconds of GetCodePage, of the first character both ways, resident bytes]}}"""
    listing = subprocess.run([COMMAND, "list"], capture_output=True, text=True, check=True).stdout
    pages = [line.split()[1] for line in listing.splitlines()[1:]]
    pages = [page for page in pages if page != "unicode-1-1"] # converts nothing
    subprocess.run([COMMAND, "tables", directory], check=True, stdout=subprocess.DEVNULL)
    results, failures = {}, {}
    for _ in range(3 if arguments.quick else 9):
        for route, base in (("services", "UseWindowsAPI"), ("files", directory)):
            for page in pages:
                if not wanted(arguments, "cold/" + route):
                    continue
                run = subprocess.run([os.path.join(BUILD, "benchmarks", "ColdStart"), page, base],
                                     capture_output=True, text=True, check=False)
                if run.returncode != 0:
                    failures["cold/" + page] = run.stderr.partition("\n")[0] # what follows has a path
                else:
                    results.setdefault(route, {}).setdefault(page, []).append(list(map(int, run.stdout.split())))
    return {route: {page: [middle(arguments)(column) for column in zip(*rows)] for page, rows in pages.items()}
            for route, pages in results.items()}, failures


def run_measured(command):
    """Seconds on the wall, seconds of the processor, and KiB of memory at most.

    The memory is looked up while the process runs: what the system reports at the end counts this program
    too, which the process was before it became another.
    """
    begin = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    ended, memory = 0, 0
    while not ended:
        time.sleep(0.002)
        with open(f"/proc/{process.pid}/status", encoding="utf-8") as file:
            found = re.search(r"^VmHWM:\s*(\d+)", file.read(), re.M)
        memory = int(found.group(1)) if found else memory
        ended, status, usage = os.wait4(process.pid, os.WNOHANG)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise RuntimeError(f"{command[0]} failed")
    return time.monotonic() - begin, usage.ru_utime + usage.ru_stime, memory


def command_bytes(arguments):
    return (1 << 26) if arguments.quick else (1 << 30)


def touch_memory(size):
    """Takes so many bytes and lets them go. A virtual machine hands memory that it does not use back to its
    host, and whoever is the next to need it waits for the host: several seconds for these files, by turns."""
    bytearray(b"\1") * size # never all zeros, which would not be written


def measure_command(arguments, texts):
    """{program: [seconds on the wall, of the processor, KiB]} of Shift-JIS to UTF-8 in memory."""
    with open(os.path.join(texts, TEXT_OF_COMMAND), "rb") as file:
        block = file.read()
    with tempfile.TemporaryDirectory(dir="/dev/shm") as directory:
        source, target = os.path.join(directory, "in"), os.path.join(directory, "out")
        with open(source, "wb") as file:
            for _ in range(-(-command_bytes(arguments) // len(block))):
                file.write(block)
        programs = {
            "kcodepage": [COMMAND, "convert", "--from", "shift_jis", "--to", "utf-8", "-o", target, source],
            "iconv": ["iconv", "-f", "CP932", "-t", "UTF-8", "-o", target, source],
            "uconv": ["uconv", "-f", "ibm-943_P15A-2003", "-t", "UTF-8", "-o", target, source],
        }
        rounds = {}
        for _ in range(3):
            for name, command in programs.items():
                if os.path.exists(target):
                    os.unlink(target)
                touch_memory(5 * command_bytes(arguments) // 2) # the output, and the input that iconv reads whole
                rounds.setdefault(name, []).append(run_measured(command))
    return {name: [middle(arguments)(column) for column in zip(*rows)] for name, rows in rounds.items()}


def describe_machine(context):
    """What the report says of the machine, without its name."""
    processor, flags = platform.machine(), []
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            key, _, value = line.partition(":")
            if key.strip() == "model name":
                processor = value.strip()
            elif key.strip() == "flags":
                flags = value.split()
    vectors = [flag for flag in ("sse2", "ssse3", "sse4_2", "avx2", "bmi2", "avx512f", "avx512bw", "avx512vbmi")
               if flag in flags]
    family = re.findall(r"^(?:cpu family|model)\s*:\s*(\d+)", open("/proc/cpuinfo", encoding="utf-8").read(), re.M)
    return {"processor": f"{processor} (family {'.'.join(family[:2])}, {os.cpu_count()} cores; {' '.join(vectors)})",
            "system": f"{platform.system()} {'.'.join(platform.release().split('.')[:2])}, {' '.join(platform.libc_ver())}",
            "compiler": context.get("compiler", ""), "icu": context.get("icu", ""),
            "load": context.get("load_avg", [])}


def main():
    arguments = parse_arguments()
    texts = arguments.texts or gather_texts()
    results = {"date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
               "command": command_line(arguments), "cold": {}, "programs": {}}
    results["levels"], context, results["failures"] = measure_conversions(arguments, texts)
    results["machine"] = describe_machine(context)
    results["texts"] = {key.removeprefix("text "): value for key, value in context.items() if key.startswith("text ")}
    if wanted(arguments, "cold/services") or wanted(arguments, "cold/files"):
        with tempfile.TemporaryDirectory() as directory:
            results["cold"], failures = measure_cold(arguments, directory)
            results["failures"].update(failures)
    if wanted(arguments, "command"):
        results["programs"] = measure_command(arguments, texts)
        results["programs_bytes"] = command_bytes(arguments)
    if arguments.json:
        report.write_json(arguments.json, results)
    if arguments.docs:
        docs = os.path.join(ROOT, "docs")
        report.write_json(os.path.join(docs, "performance.json"), results)
        report.write_tables(os.path.join(docs, "performance.md"), results)
        picture.write(os.path.join(docs, "performance.svg"), results)
    text, passed = report.targets(results)
    if not arguments.targets:
        text = report.tables(results) + "\n" + text
    print(text)
    for name, failure in sorted(results["failures"].items()):
        print(f"{name}: {failure}", file=sys.stderr)
    return 0 if passed or not arguments.targets else 1


if __name__ == "__main__":
    sys.exit(main())
