"""Runs clang-tidy over the product's sources of one build: tidy.py [--all] BUILD_FOLDER [SOURCE...]

With --all, or by name, the tests and benchmarks too, and all with the path analysis (clang-analyzer), which takes two
thirds of the time.

The build is a cross build with GCC, so clang reads a copy of its compile commands in which the target, the C++ headers
and the flags are its own. A source that was clean isn't looked at again until something that it depends on changes:
its stamp is named by a hash of the source, the project headers it reaches, its command and the settings.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PRODUCT = ("src", "host", "tools")
OTHERS = ("tests", "bench")
TARGET = "x86_64-w64-mingw32"
JOBS = max(2, os.cpu_count() or 2)
# <windows.h> includes every vector intrinsic there is, a third of the text that clang would read. Nothing here uses one,
# so their headers are taken for included already.
NO_INTRINSICS = ("-D__X86INTRIN_H", "-D__IMMINTRIN_H")
WITHOUT_PATHS = "--checks=-clang-analyzer-*"
# What the sources say of their locks (frame/thread_safety.h) is proved; the order of locks is in the beta part.
LOCKS = ("-Wthread-safety", "-Wthread-safety-beta")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


@functools.cache
def library_headers(compiler):
    """The C++ library's folders, as the cross compiler itself names them; clang finds the C ones by the target."""
    listing = run(compiler, "-x", "c++", "-E", "-v", "/dev/null").stderr
    folders = re.search(r"#include <\.\.\.> search starts here:\n(.*?)End of search list", listing, re.DOTALL)[1]
    return [str(pathlib.Path(folder).resolve()) for folder in folders.split() if "/c++" in folder]


def clang_command(entry):
    """The entry's command, for clang."""
    arguments = shlex.split(entry["command"])
    compiler = next(i for i, argument in enumerate(arguments) if "g++" in pathlib.Path(argument).name)
    kept = [argument for argument in arguments[compiler + 1:] if not argument.startswith(("-fsanitize", "-Werror"))]
    # Without the precompiled headers, so that a source that lacks an include is found.
    while "-include" in kept:
        at = kept.index("-include")
        del kept[at:at + 2]
    headers = [flag for folder in library_headers(arguments[compiler]) for flag in ("-isystem", folder)]
    return ["clang++", f"--target={TARGET}", "-nostdinc++", *NO_INTRINSICS, *headers, *kept, *LOCKS]


def reached_files(source, folders):
    """The source and every project file that it includes, directly or not."""
    reached = set()
    waiting = [source]
    while waiting:
        file = waiting.pop()
        if file in reached:
            continue
        reached.add(file)
        for name in re.findall(r'^\s*#\s*include\s*"([^"]+)"', file.read_text(), re.MULTILINE):
            candidates = [folder / name for folder in (file.parent, *folders)]
            waiting += [candidate.resolve() for candidate in candidates if candidate.is_file()][:1]
    return reached


def stamp_name(source, command, version):
    digest = hashlib.sha256("\0".join([version, *command]).encode())
    folders = [pathlib.Path(argument[2:]) for argument in command if argument.startswith("-I")]
    settings = [folder / ".clang-tidy" for folder in source.parents if (folder / ".clang-tidy").is_file()]
    for file in sorted(reached_files(source, folders)) + settings:
        digest.update(f"\0{file}\0".encode())
        digest.update(file.read_bytes())
    return digest.hexdigest()


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--all"]
    build = pathlib.Path(arguments[0]).resolve()
    wanted = {pathlib.Path(name).resolve() for name in arguments[1:]}
    is_deep = "--all" in sys.argv or bool(wanted)
    folders = PRODUCT + OTHERS if is_deep else PRODUCT
    work = ROOT / "build" / "tidy"
    stamps = work / "stamps"
    stamps.mkdir(parents=True, exist_ok=True)

    entries = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if source.suffix != ".cpp":
            continue  # a resource script
        if source.is_relative_to(ROOT) and source.relative_to(ROOT).parts[0] in folders:
            entries[source] = {"directory": entry["directory"], "file": str(source), "arguments": clang_command(entry)}
    (work / "compile_commands.json").write_text(json.dumps(list(entries.values()), indent=1))

    version = run("clang-tidy", "--version").stdout
    sources = sorted(source for source in entries if not wanted or source in wanted)
    names = {source: stamp_name(source, entries[source]["arguments"], version) for source in sources}
    # Clean by all checks is clean by some.
    suffixes = ("",) if is_deep else ("", ".some")
    due = [source for source in sources if not any((stamps / (names[source] + suffix)).exists() for suffix in suffixes)]
    checks = () if is_deep else (WITHOUT_PATHS,)

    def tidy(source):
        return source, run("clang-tidy", "--quiet", "--warnings-as-errors=*", *checks, "-p", str(work), str(source))

    failed = 0
    shown = set()
    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        for source, result in pool.map(tidy, due):
            if result.returncode == 0:
                (stamps / (names[source] + suffixes[-1])).touch()
                continue
            failed += 1
            # A finding in a header comes once for every source that includes it.
            for finding in re.split(r"^(?=\S+?:\d+:\d+: (?:error|warning):)", result.stdout, flags=re.MULTILINE):
                if finding.strip() and finding not in shown:
                    shown.add(finding)
                    print(finding.rstrip().replace(f"{ROOT}/", ""), flush=True)
            if not result.stdout.strip():
                print(f"{source.relative_to(ROOT)}: {result.stderr.strip()}", flush=True)

    if not sources:
        print(f"clang-tidy: {build} names no source of the project")
        return 1
    if failed:
        print(f"clang-tidy: findings in {failed} of {len(sources)} sources")
        return 1
    print(f"clang-tidy: {len(sources)} sources are clean ({len(due)} looked at, the others unchanged)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
