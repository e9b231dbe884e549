"""The roads of the matrix: where the machine stands, what the engine is doing when it is killed, and the way back."""

import dataclasses

import engines

# In place of a profile:
START = "start"  # the engine's own start
LOGON = "logon"  # of the user whose choice is stored, while the engine runs


@dataclasses.dataclass(frozen=True)
class Road:
    name: str
    engine: type
    strike: str  # the profile that the engine is told while the strike is armed, START or LOGON
    begin: str = "Disabled"  # the profile that the machine is in, with its notes on disk
    stored: str | None = None  # the choice on disk, where it isn't that profile
    before: tuple = ()  # told to the same engine before
    behind: bool = False  # the strike is armed when the engine has said "executed"
    then: tuple = ()  # told to the new engine before "Disabled"
    effects: bool = False  # the profiles have visual effects, for which an agent must run
    kills: int = 300


ROADS = [
    Road("Disabled-Game in-process", engines.InProcess, "Game", kills=1000),
    Road("Disabled-Game, Work in-process", engines.InProcess, "Game", then=("Work",)),
    Road("Game-Battery in-process", engines.InProcess, "Battery", "Game"),
    Road("Game-Disabled in-process", engines.InProcess, "Disabled", "Game"),
    Road("Disabled-Game in the console", engines.Console, "Game"),
    Road("Game-Work in the console", engines.Console, "Work", "Game"),
    Road("Game-Battery in the console", engines.Console, "Battery", "Game"),
    Road("Game-Battery in one engine", engines.Console, "Battery", before=("Game",)),
    Road("behind Battery in one engine", engines.Console, "Battery", before=("Game",), behind=True),
    Road("Battery-Disabled in the console", engines.Console, "Disabled", "Battery"),
    Road("Game-Disabled in the console", engines.Console, "Disabled", "Game"),
    Road("start, Game stored", engines.Console, START, "Game"),
    Road("start, Work stored over Game", engines.Console, START, "Game", stored="Work"),
    Road("start, Battery stored over Game", engines.Console, START, "Game", stored="Battery"),
    Road("start, Disabled stored over Game", engines.Console, START, "Game", stored="Disabled"),
    Road("logon, Game stored", engines.ConsoleWithLogons, LOGON, stored="Game"),
    Road("logon, Work stored over Game", engines.ConsoleWithLogons, LOGON, "Game", stored="Work"),
    Road("logon, Disabled stored over Game", engines.ConsoleWithLogons, LOGON, "Game", stored="Disabled"),
    Road("Disabled-Game in the service", engines.Service, "Game"),
    Road("Game-Disabled in the service", engines.Service, "Disabled", "Game"),
    Road("Disabled-Game with an agent", engines.ConsoleWithAgent, "Game", effects=True),
    Road("Game-Battery with an agent", engines.ConsoleWithAgent, "Battery", "Game", effects=True),
    Road("Game-Disabled with an agent", engines.ConsoleWithAgent, "Disabled", "Game", effects=True),
    Road("Disabled-Game, the agent killed", engines.KilledAgent, "Game", effects=True),
    Road("Game-Disabled, the agent killed", engines.KilledAgent, "Disabled", "Game", effects=True),
    Road("uninstall", engines.Uninstall, "Disabled", "Game"),
]
