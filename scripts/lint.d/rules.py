"""Checks the rules of this code base that a look at the text can tell."""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
LONGEST_HEADER = 150
LONGEST_SOURCE = 400

# What closes a system handle stands in an owner's traits (frame/handles.h shows how) and nowhere else; a test may define
# the function itself.
CLOSING_CALL = re.compile(
    r"\b(CloseHandle|FindClose|RegCloseKey|CloseServiceHandle|FreeLibrary|LocalFree|WTSFreeMemory|EvtClose|"
    r"SetupDiDestroyDeviceInfoList|DestroyEnvironmentBlock)\(")
ALLOWED = re.compile(r"static void Close\(|\bWINAPI [A-Z]")

LINE_RULES = [
    (re.compile(r"[^\x00-\x7f]"), "holds a character outside ASCII"),
    (re.compile(r"\t"), "holds a tab"),
    (re.compile(r"\bfriend (class|struct) \w*Test\b"), "befriends a test"),
    (re.compile(r"\.detach\(\)"), "detaches a thread; somebody must wait for it"),
]

# Of the product alone.
PRODUCT_RULES = [
    (re.compile(r"\bstd::(\w*mutex|lock_guard|unique_lock|shared_lock|scoped_lock)\b"),
     "uses a lock that clang's check knows nothing of; frame/lock_guard.h has those that it knows"),
]


def project_files():
    listing = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", "*.h", "*.cpp"],
                             cwd=ROOT, capture_output=True, text=True, check=True).stdout
    return [pathlib.Path(name) for name in sorted(set(listing.split("\0"))) if name and (ROOT / name).is_file()]


def findings_of(file):
    text = (ROOT / file).read_text(encoding="utf-8", errors="surrogateescape")
    lines = text.splitlines()
    header = file.suffix == ".h"
    longest = LONGEST_HEADER if header else LONGEST_SOURCE
    if len(lines) > longest:
        yield f"{file}: {len(lines)} lines, more than {longest}"
    if header and "#pragma once" not in lines:
        yield f"{file}: has no #pragma once"
    if not re.fullmatch(r"[a-z0-9_]+", file.stem):
        yield f"{file}: the file's name isn't in snake_case"
    for number, line in enumerate(lines, 1):
        code = line.split("//")[0]
        for pattern, what in LINE_RULES + (PRODUCT_RULES if file.parts[0] in ("src", "host", "tools") else []):
            if pattern.search(line):
                yield f"{file}:{number}: {what}"
        if header and re.search(r"\busing namespace\b", code):
            yield f"{file}:{number}: using namespace in a header"
        if CLOSING_CALL.search(code) and not ALLOWED.search(code):
            yield f"{file}:{number}: closes a handle outside an owner"


def main():
    files = project_files()
    findings = [finding for file in files for finding in findings_of(file)]
    print("\n".join(findings + [f"rules: {len(findings)} findings in {len(files)} files"]))
    return 1 if findings or not files else 0


if __name__ == "__main__":
    sys.exit(main())
