"""One kill: the machine at the beginning of a road, the strike, the way back, and what differs from before."""

import json
import shutil
import time

import engines
from roads import LOGON, START
from wine import ROOT, Strike, wait_until

HERE = ROOT / "tools" / "killmatrix"
FOUND = (HERE / "found.txt").read_text()
SETTLE_MS = 8000
BACK_S = 12  # for what the notes still tell of, once the new engine has taken "Disabled"
STRIKE_S = 3  # for a call behind the last one of the change


def profiles_text(effects):
    profiles = json.loads((HERE / "profiles.json").read_text())
    for actions in profiles.values():
        if not effects and isinstance(actions, dict):
            actions.pop("VisualFX", None)
    return json.dumps(profiles)


class Bench:
    """The machine of one prefix, with the places that roads begin at."""

    def __init__(self, prefix):
        self.prefix = prefix
        self._settings = prefix.machine / "settings" / "optimizer"
        self._places = {}  # (profile, effects): the settings folder and the picture there
        self._picture = None  # the machine's, where it is known
        self._engine = None  # the kind that ran last

    def prepare(self):
        self.prefix.stop()
        self.prefix.start()
        self.prefix.install()
        self.prefix.open_session()
        engines.clear_away(self.prefix)
        self._places = {}
        self._machine("prepare", text=FOUND)
        self._picture = FOUND

    def _machine(self, *arguments, text=None):
        return self.prefix.run("killmatrix_machine.exe", *arguments, text=text).require(arguments[0]).text

    def _await(self, picture):
        self._picture = self._machine("await", str(SETTLE_MS), text=picture)
        if not self._picture:
            # Nothing was looked at, which isn't a machine that differs: a prefix that is being closed ends its programs.
            raise RuntimeError("no picture of the machine")
        return self._picture

    def _to_picture(self, picture):
        if self._picture != picture:
            self._machine("restore", text=picture)
        self._picture = picture

    def _put_settings(self, folder):
        shutil.rmtree(self._settings)
        shutil.copytree(folder, self._settings)

    def _place(self, profile, effects):
        """Goes there by the engine the first time, and keeps what it left."""
        key = (profile, effects)
        if key not in self._places:
            kept = self.prefix.machine.with_name(f"{profile} {effects}")
            self._to_picture(FOUND)
            if profile == "Disabled":
                for notes in self._settings.glob("*_restore_profile.json"):
                    notes.unlink()
                (self._settings / "profiles.json").write_text(profiles_text(effects))
                self.prefix.run("optimizerctl.exe", "--in-process", "module", "on").require("module on")
            else:
                self._put_settings(self._place("Disabled", effects)[0])
                engine = (engines.ConsoleWithAgent if effects else engines.Console)(self.prefix)
                engine.start()
                engine.set(profile).require(profile)
                self._await("")
                engine.stop()
            shutil.rmtree(kept, ignore_errors=True)
            shutil.copytree(self._settings, kept)
            self._places[key] = (kept, self._picture)
        return self._places[key]

    def _go_to_begin(self, road):
        if self._engine in (engines.Service, engines.Uninstall) and self._engine != road.engine:
            engines.clear_away(self.prefix)
        self._engine = road.engine
        folder, picture = self._place(road.begin, road.effects)
        self._to_picture(picture)
        self._put_settings(folder)
        if road.strike != LOGON:
            self._store_choice(road)

    def _store_choice(self, road):
        if road.stored is not None:
            for notes in self._settings.glob("*_restore_profile.json"):
                content = json.loads(notes.read_text())
                notes.write_text(json.dumps(content | {"active_profile": road.stored}))

    def _walk(self, road, engine, mode, call):
        """Up to the strike, or to the end of the change when that doesn't come."""
        folder = str(self._settings)
        if road.strike == START:
            self.prefix.strike.arm(mode, engine.victim, call, folder)
            engine.start()
            return
        engine.start()
        for profile in road.before:
            engine.set(profile).require(profile)
        if not road.behind:
            self.prefix.strike.arm(mode, engine.victim, call, folder)
        if road.strike == LOGON:
            self._store_choice(road)
            engine.log_on()
        else:
            engine.set_to_strike(road.strike)
        if road.behind:
            self.prefix.strike.arm(mode, engine.victim, call, folder)

    def count_calls(self, road):
        """How many calls the road has up to where the machine has come to rest."""
        end = ""
        # The second time it is known where that is, and a host's idle calls aren't waited for; behind the change they
        # are all that there is. A command with an engine of its own makes no calls after its end.
        for _ in range(1 if road.behind or road.engine.victim == engines.CONTROL else 2):
            self._go_to_begin(road)
            engine = road.engine(self.prefix)
            self._walk(road, engine, Strike.COUNT, 0)
            if road.engine.victim == engines.CONTROL:
                self._picture = None
            else:
                end = self._await(end)
            calls = self.prefix.strike.count
            self.prefix.strike.disarm()
            engine.stop()
            engine.kill()
        return calls

    def strike(self, road, mode, call):
        self._go_to_begin(road)
        engine = road.engine(self.prefix)
        self._picture = None
        try:
            self._walk(road, engine, mode, call)
            if engine.victim == engines.CONTROL:
                pass
            elif mode == Strike.KILL and call > 0:
                wait_until(lambda: self.prefix.strike.killed, STRIKE_S)
            else:
                self._await("")
            hits = self.prefix.strike.hits
            self.prefix.strike.disarm()
            engine.kill()
            begin = time.monotonic()
            engine.start_again()
            for profile in road.then:
                engine.set(profile)
            back = engine.set("Disabled")
            after = self._await(FOUND)
            # An engine that waits for an agent changes nothing for seconds, and isn't through.
            while after != FOUND and self._is_noted() and time.monotonic() < begin + BACK_S:
                after = self._await(FOUND)
            seconds = time.monotonic() - begin
            engine.stop()
        finally:
            self.prefix.strike.disarm()
            engine.kill()
        return {"struck": hits > 0, "differences": differences(after), "exit": back.code, "said": back.text.strip(),
                "seconds": round(seconds, 2), "noted": self._is_noted()}

    def _is_noted(self):
        """Whether anything is still to be put back, as the notes tell."""
        for notes in self._settings.glob("*_restore_profile.json"):
            try:
                if json.loads(notes.read_text() or "{}").get("Disabled"):
                    return True
            except ValueError:
                return True
        return False


def differences(picture):
    """What stayed changed, a text for each thing."""
    lines = [dict(line.split("=", 1) for line in text.splitlines()) for text in (picture, FOUND)]
    return [f"{name}: {lines[0].get(name, 'none')}, was {lines[1].get(name, 'none')}"
            for name in sorted(lines[0].keys() | lines[1].keys()) if lines[0].get(name) != lines[1].get(name)]
