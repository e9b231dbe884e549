"""The ways in which an engine runs, each as one that can be started, told a profile, and stopped."""

import subprocess

from wine import Output, Run, Strike, wait_until

START_S = 20
CONTROL = "optimizerctl.exe"
HOST = "optimizerhost.exe"
AGENT = "optimizeragent.exe"
SERVICE = "OptimizerHost"
SC = "C:\\windows\\system32\\sc.exe"


class InProcess:
    """An engine for each command, which ends with it."""

    victim = CONTROL

    def __init__(self, prefix):
        self._prefix = prefix

    def start(self):
        pass

    def start_again(self):
        """Begins the way back, with a new engine."""
        self.start()

    def set(self, profile):
        return self._prefix.run(CONTROL, "--in-process", "profile", "set", profile)

    def set_to_strike(self, profile):
        """The same where the engine may be killed meanwhile."""
        return self.set(profile)

    def stop(self):
        pass

    def kill(self):
        pass


class Console(InProcess):
    """The host in a console."""

    victim = HOST
    options = ()

    def __init__(self, prefix):
        super().__init__(prefix)
        self._host = None

    def start(self):
        output = Output()
        self._host = self._prefix.popen(HOST, *self.options, "console", output=output, stdin=subprocess.PIPE)
        wait_until(lambda: "ready" in output.text() or self._host.poll() is not None, START_S)

    def set(self, profile, until=None):
        return self._prefix.run(CONTROL, "--timeout", "30", "profile", "set", "--wait", profile, until=until)

    def set_to_strike(self, profile):
        # The command takes seconds to find out that nobody will answer.
        return self.set(profile, lambda: self._prefix.strike.killed)

    def stop(self):
        if self._host is not None:
            self._host.stdin.close()
            try:
                self._host.wait(START_S)
            except subprocess.TimeoutExpired:
                self.kill()
        self._host = None

    def kill(self):
        if self._host is not None:
            self._host.kill()
            self._host.wait()
        self._host = None


class ConsoleWithLogons(Console):
    """The same with a plug-in that can have a user log on."""

    options = ("--plugins", "C:\\machine\\settings\\logon_plugins.xml")

    def log_on(self):
        logon = self._prefix.run("killmatrix_machine.exe", "logon")
        # Killed at one of its idle calls, no host was there any more.
        if not self._prefix.strike.killed:
            logon.require("logon")


class ConsoleWithAgent(Console):
    """The same with an agent in the session. That has a folder of its own, and so a log, which tells when it is
    connected."""

    def __init__(self, prefix):
        super().__init__(prefix)
        self._agent = None

    def start(self):
        super().start()
        self._start_agent()

    def _start_agent(self):
        log = self._prefix.agent / "logs" / "optimizeragent.log"
        log.unlink(missing_ok=True)
        self._agent = self._prefix.popen(AGENT, "run", output=Output(), folder="agent")
        wait_until(lambda: log.exists() and b"Start receiving messages" in log.read_bytes(), START_S)

    def _end_agent(self):
        if self._agent is not None:
            self._agent.kill()
            self._agent.wait()
        self._agent = None

    def stop(self):
        super().stop()
        self._end_agent()

    def kill(self):
        super().kill()
        self._end_agent()


class KilledAgent(ConsoleWithAgent):
    """Its agent is the one that is killed, and a new one comes to the same host."""

    victim = AGENT

    def set_to_strike(self, profile):
        return self.set(profile)

    def start_again(self):
        self._start_agent()

    def kill(self):
        self._end_agent()


class Service(Console):
    """The installed service."""

    def state(self):
        text = self._prefix.run(SC, "query", SERVICE).text
        return next((line.split()[-1] for line in text.splitlines() if "STATE" in line), "")

    def start(self):
        if self.state() == "":
            self._prefix.run(HOST, "install").require("install")
        # One that was killed a moment ago may still count as running.
        wait_until(lambda: self._prefix.run(SC, "start", SERVICE).code == 0, START_S)

    def stop(self):
        self._prefix.run(SC, "stop", SERVICE)
        wait_until(lambda: self.state() == "STOPPED", START_S)

    def kill(self):
        if self.state() == "RUNNING":
            self._prefix.strike.arm(Strike.KILL, HOST, 1)
            # The service manager may not have noticed yet that it is gone already.
            wait_until(lambda: self._prefix.strike.killed or self.state() != "RUNNING", START_S)
            self._prefix.strike.disarm()


class Uninstall(InProcess):
    """The uninstall of a service that is stopped, which runs an engine in its own process. "Disabled" is all that it can
    set."""

    victim = HOST

    def start(self):
        self._prefix.run(HOST, "install")

    def start_again(self):
        pass

    def set(self, profile):
        if Service(self._prefix).state() == "":
            return Run(0, "The service is gone.")
        return self._prefix.run(HOST, "uninstall")


def clear_away(prefix):
    """The service and the agents that it started; the next road may want neither."""
    service = Service(prefix)
    if service.state() != "":
        service.stop()
        prefix.run(HOST, "uninstall")
    prefix.run(AGENT, "stop")
