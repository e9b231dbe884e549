"""A Wine prefix that holds the machine, and the library that strikes at a call of one of its programs."""

import mmap
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
WINE = "/usr/lib/wine/wine64"
PATIENCE_S = 60


class Strike:
    """The mapped file through which strike.so is told what to do; see struct control there."""

    OFF, COUNT, KILL, FULL_DISK = range(4)
    LAYOUT = "<IIQQQ64s1024s"

    def __init__(self, path):
        self.path = path
        # Never cut: processes of a run that was broken off may have it mapped.
        with open(path, "a+b") as file:
            file.truncate(struct.calcsize(self.LAYOUT))
            self._map = mmap.mmap(file.fileno(), 0)

    def arm(self, mode, program, at=0, folder=""):
        self.disarm()
        struct.pack_into("<QQQ64s1024s", self._map, 8, at, 0, 0, program.encode(), os.fsencode(folder))
        struct.pack_into("<I", self._map, 0, mode)

    def disarm(self):
        struct.pack_into("<I", self._map, 0, self.OFF)

    @property
    def count(self):
        return struct.unpack_from("<Q", self._map, 16)[0]

    @property
    def killed(self):
        mode, = struct.unpack_from("<I", self._map, 0)
        return mode == self.KILL and self.hits > 0

    @property
    def hits(self):
        return struct.unpack_from("<Q", self._map, 24)[0]


class Output:
    """Where a program's output goes: a file, for Wine's own processes inherit it and would keep a pipe open."""

    def __init__(self):
        self._file = tempfile.TemporaryFile()

    def fileno(self):
        return self._file.fileno()

    def text(self):
        size = os.fstat(self.fileno()).st_size
        return os.pread(self.fileno(), size, 0).decode("utf-8", "replace").replace("\r", "")


class Run:
    """How a program ended; killed by a signal the exit code is negative, as everywhere in Python."""

    def __init__(self, code, text):
        self.code = code
        self.text = text

    def require(self, what):
        if self.code != 0:
            raise RuntimeError(f"{what} ended with {self.code}: {self.text}")
        return self


class Prefix:
    """One prefix with the product and the machine's program in C:\\machine. For one thread."""

    def __init__(self, folder, build, library):
        self._folder = folder
        self._build = build
        self._closed = False
        self._session = None
        self.machine = folder / "drive_c" / "machine"
        self.agent = folder / "drive_c" / "agent"
        folder.parent.mkdir(parents=True, exist_ok=True)
        self.strike = Strike(folder.with_suffix(".control"))
        self._environment = os.environ | {
            "WINEPREFIX": str(folder),
            "WINEDEBUG": "-all",
            "WINEDLLOVERRIDES": "powrprof=n,b",
            "LD_PRELOAD": str(library),
            "KILLMATRIX_CONTROL": str(self.strike.path),
        }
        self._environment.pop("DISPLAY", None)

    def _run_wine(self, option):
        if self._closed:
            raise RuntimeError("the prefix is closed")
        subprocess.run([ROOT / "scripts" / "run-wine", option], env=self._environment, check=True,
                       timeout=PATIENCE_S, stdin=subprocess.DEVNULL)

    def make(self):
        if not (self._folder / ".ready").exists():
            self._run_wine("--prepare")
            self._run_wine("--stop")

    def copy(self, made):
        """Takes less than making another."""
        if not (self._folder / ".ready").exists():
            shutil.rmtree(self._folder, ignore_errors=True)
            subprocess.run(["cp", "-a", "--reflink=auto", made._folder, self._folder], check=True)

    def start(self):
        """Brings up the prefix's session; every process in it gets the library, services too."""
        self.strike.disarm()
        self._run_wine("--prepare")

    def open_session(self):
        """A desktop that stays until the prefix is stopped."""
        self._session = self.popen("killmatrix_machine.exe", "session", output=Output())

    def stop(self):
        self._run_wine("--stop")
        if self._session is not None:
            self._session.kill()
            self._session.wait()
        self._session = None

    def close(self):
        """Ends all that runs in it, for good."""
        self.stop()
        self._closed = True

    def install(self):
        """The product as built, with the simulated libraries beside it. The settings are the ones that ship."""
        shutil.rmtree(self.machine, ignore_errors=True)
        shutil.copytree(self._build / "bin", self.machine)
        for name in ("powrprof.dll", "updateagent.dll", "scratch_service.exe", "killmatrix_machine.exe",
                     "killmatrix_logon.dll"):
            shutil.copy2(self._build / "tests" / "platform" / name, self.machine)
        plugins = (self.machine / "settings" / "service_plugins.xml").read_text()
        (self.machine / "settings" / "logon_plugins.xml").write_text(
            plugins.replace('"sessionchange" dll="hostplugins.dll"', '"sessionchange" dll="killmatrix_logon.dll"'))
        shutil.rmtree(self.agent, ignore_errors=True)
        shutil.copytree(self._build / "bin", self.agent)
        (self.agent / "settings" / "log.json").write_text('{"enabled":true,"level":32,"maxSizeBytes":1000000}')

    def popen(self, program, *arguments, output, stdin=subprocess.DEVNULL, folder="machine"):
        """`program` lies in that folder of drive C:, unless it has a path of its own."""
        if self._closed:
            raise RuntimeError("the prefix is closed")
        command = [WINE, program if ":" in program else f"C:\\{folder}\\{program}", *arguments]
        environment = self._environment | {
            "WINEDLLOVERRIDES": "mscoree,mshtml,winedbg.exe=;" + self._environment["WINEDLLOVERRIDES"]
        }
        return subprocess.Popen(command, env=environment, stdin=stdin, stdout=output, stderr=output)

    def run(self, program, *arguments, text=None, until=None):
        """Ends the program as soon as the condition `until` holds, where there is one."""
        output = Output()
        stdin = subprocess.DEVNULL
        if text is not None:
            stdin = tempfile.TemporaryFile()
            stdin.write(text.encode())
            stdin.seek(0)
        process = self.popen(program, *arguments, output=output, stdin=stdin)
        ended = wait_until(lambda: process.poll() is not None or (until is not None and until()), PATIENCE_S)
        if process.poll() is None:
            process.kill()
        code = process.wait()
        if not ended:
            raise RuntimeError(f"{program} {' '.join(arguments)} doesn't end")
        return Run(code, output.text())


def wait_until(condition, limit_s):
    """True as soon as the condition holds, which is looked at until the limit is over."""
    end = time.monotonic() + limit_s
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True
