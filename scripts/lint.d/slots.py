"""Proves the slot numbers of the binary border against both compilers' layouts: slots.py [FOLDER]

For every header of the folder (src/border):
- it compiles by itself, for MSVC and for MinGW, with no system header in reach;
- its interfaces keep to what both compilers lay out alike: one base at most, every operation pure virtual and under a
  name of its own, no virtual destructor, no default argument, no class passed or returned by value, no data;
- the number in the comment behind an operation is the slot that each compiler gives to it.

The interfaces come from the compiler's own syntax tree and the slots from its own layout dump, so nothing is guessed
from the text but the comment.
"""

import collections
import json
import pathlib
import re
import subprocess
import sys
import tempfile

TARGETS = ("x86_64-pc-windows-msvc", "x86_64-w64-mingw32")
FLAGS = ("-std=c++20", "-ffreestanding", "-nostdlibinc", "-Wall", "-Wextra", "-Werror",
         "-Wno-pragma-once-outside-header")

# Taking an operation's address makes the compiler settle and print its class's slots.
PROBE_HELPERS = """
struct SlotProbe {};
template <class... T>
constexpr bool kNoClass = !((__is_class(T) || __is_union(T)) || ...);
template <class C, class R, class... A>
constexpr bool CrossesTheBorder(R (C::*)(A...)) { return kNoClass<R, A...>; }
template <class C, class R, class... A>
constexpr bool CrossesTheBorder(R (C::*)(A...) const) { return kNoClass<R, A...>; }
"""

Operation = collections.namedtuple("Operation", "name line number")
Interface = collections.namedtuple("Interface", "name header parameters operations")


class Findings:
    def __init__(self):
        self.count = 0

    def add(self, place, text):
        self.count += 1
        print(f"{str(place).removeprefix(f'{pathlib.Path.cwd()}/')}: {text}")


def run_clang(target, include_folder, *arguments):
    command = ["clang++", f"--target={target}", *FLAGS, f"-I{include_folder}", *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def records_of(node, scope=()):
    """Every class defined in the header itself: (qualified name, number of template parameters, its node)."""
    parameters = 0
    for child in node.get("inner", []):
        if "includedFrom" in child.get("loc", {}) or child.get("isImplicit"):
            continue
        kind = child["kind"]
        if kind == "TemplateTypeParmDecl":
            parameters += 1
        elif kind in ("NamespaceDecl", "LinkageSpecDecl"):
            yield from records_of(child, scope + ((child["name"],) if "name" in child else ()))
        elif kind == "ClassTemplateDecl":
            yield from records_of(child, scope)
        elif kind == "CXXRecordDecl" and child.get("completeDefinition"):
            name = scope + (child.get("name", "(unnamed)"),)
            yield "::".join(name), parameters, child
            yield from records_of(child, name)


def read_interface(header, text, name, parameters, record, findings):
    """Notes what breaks the border's rules in one interface and returns its operations with their numbers."""
    operations = []
    bases = record.get("bases", [])
    if len(bases) > 1 or any(base.get("isVirtual") for base in bases):
        findings.add(header, f"{name} has more than one base or a virtual one")
    names = collections.Counter()
    for member in record.get("inner", []):
        kind = member["kind"]
        if member.get("isImplicit"):
            continue
        line = text.count(b"\n", 0, member.get("range", {}).get("begin", {}).get("offset", 0)) + 1
        place = f"{header}:{line}"
        if kind == "FieldDecl":
            findings.add(place, f"{name} holds data")
        elif kind == "CXXDestructorDecl":
            findings.add(place, f"{name} has a destructor; MSVC gives a virtual one a single slot, MinGW two")
        elif kind == "CXXMethodDecl" and member.get("storageClass") != "static":
            operation = member["name"]
            names[operation] += 1
            if names[operation] == 2:
                findings.add(place, f"{name}::{operation} is overloaded; the compilers order overloads differently")
            if not member.get("pure"):
                findings.add(place, f"{name}::{operation} isn't pure virtual")
                continue
            if any("init" in inner for inner in member.get("inner", []) if inner["kind"] == "ParmVarDecl"):
                findings.add(place, f"{name}::{operation} has a default argument")
            number = re.match(rb"[^\n;]*;[ \t]*// (\d+)[ \t]*\r?\n", text[member["range"]["end"]["offset"]:])
            if number is None:
                findings.add(place, f"{name}::{operation} has no slot number behind it")
            operations.append(Operation(operation, line, int(number[1]) if number else None))
    return Interface(name, header, parameters, operations)


def read_header(header, include_folder, findings):
    """The interfaces of one header, which must compile by itself for each target."""
    for target in TARGETS:
        result = run_clang(target, include_folder, "-fsyntax-only", "-x", "c++", str(header))
        if result.returncode:
            findings.add(header, f"doesn't compile by itself for {target}\n{result.stderr.strip()}")
            return []
    result = run_clang(TARGETS[0], include_folder, "-fsyntax-only", "-x", "c++", "-Xclang", "-ast-dump=json", str(header))
    text = header.read_bytes()
    interfaces = []
    for name, parameters, record in records_of(json.loads(result.stdout)):
        if record["definitionData"].get("isPolymorphic"):
            interfaces.append(read_interface(header, text, name, parameters, record, findings))
    return interfaces


def write_probe(interface, include_folder, file):
    arguments = ", ".join(["SlotProbe"] * interface.parameters)
    owner = f"::{interface.name}<{arguments}>" if arguments else f"::{interface.name}"
    file.write(f'#include "{interface.header.relative_to(include_folder)}"\n{PROBE_HELPERS}')
    names = collections.Counter(operation.name for operation in interface.operations)
    for name in (name for name, uses in names.items() if uses == 1):
        file.write(f'static_assert(CrossesTheBorder(&{owner}::{name}), "passes a class by value");\n')
        file.write(f"auto slotProbe{name} = &{owner}::{name};\n")
    file.flush()


def parse_slots(dump):
    """{(interface, operation): slot} from the compiler's list of slots that each class adds."""
    slots = {}
    interface = None
    for line in dump.splitlines():
        heading = re.match(r"VF?Table indices for '(.+)' \(", line, re.IGNORECASE)
        entry = re.match(r" *(\d+) \| .*?(~?\w+)\(", line)
        if heading:
            interface = heading[1]
        elif not entry:
            interface = None
        elif interface:
            slots[interface, entry[2]] = int(entry[1])
    return slots


def prove(interface, target, include_folder, findings):
    """How many of the interface's numbers are right for the target. One probe for each interface: a compiler that has
    laid out a derived class doesn't print its base again."""
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as probe:
        write_probe(interface, include_folder, probe)
        result = run_clang(target, include_folder, "-S", "-o", "/dev/null", "-Xclang", "-fdump-vtable-layouts",
                           probe.name)
    if result.returncode:
        findings.add(interface.header, f"{interface.name} can't be probed for {target}\n{result.stderr.strip()}")
        return 0
    slots = parse_slots(result.stdout)
    proved = 0
    for operation in interface.operations:
        slot = slots.get((interface.name, operation.name))
        place = f"{interface.header}:{operation.line}"
        if slot is None:
            findings.add(place, f"{target} shows no slot for {interface.name}::{operation.name}")
        elif operation.number is None:
            continue  # a finding already
        elif slot != operation.number:
            findings.add(place, f"{interface.name}::{operation.name} is slot {slot} for {target}, "
                                f"the comment says {operation.number}")
        else:
            proved += 1
    return proved


def main():
    root = pathlib.Path(__file__).resolve().parents[2]
    folder = pathlib.Path(sys.argv[1]).resolve() if len(sys.argv) > 1 else root / "src" / "border"
    include_folder = folder.parent
    findings = Findings()
    headers = sorted(folder.rglob("*.h"))
    interfaces = [interface for header in headers for interface in read_header(header, include_folder, findings)]
    operations = sum(len(interface.operations) for interface in interfaces)
    for target in TARGETS:
        if not sum(prove(interface, target, include_folder, findings) for interface in interfaces):
            findings.add(target, "not one slot was proved")
    if findings.count:
        print(f"slots: {findings.count} findings")
        return 1
    print(f"slots: {operations} operations of {len(interfaces)} interfaces in {len(headers)} headers agree for "
          f"{' and '.join(TARGETS)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
