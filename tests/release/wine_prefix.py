"""A Windows of a test's own, in which it can install something."""
import os
import pathlib
import subprocess


class wine_prefix:
    """Wine's prefix in a new folder. `emulator` is scripts/wine."""

    def __init__(self, emulator, folder):
        self.emulator = emulator
        self.folder = pathlib.Path(folder)
        self.drive = self.folder / "drive_c"
        self.environment = dict(os.environ, VANDREL_WINEPREFIX=str(self.folder))
        # The first start makes the prefix, under a server that ends when it is idle. Between --persistent and
        # --kill, programs start much faster.
        self.start_services()
        self.stop()
        self.run_server("--persistent")
        self.start_services()

    def stop(self):
        """Ends all of its processes."""
        self.run_server("--kill")
        self.run_server("--wait")

    def run_server(self, option):
        subprocess.run(["wineserver", option], env=dict(os.environ, WINEPREFIX=str(self.folder), WINEARCH="win64"),
                       # The server keeps what it is started with.
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)

    def start_services(self):
        """They keep the handles that they are started with, so these lead nowhere."""
        subprocess.run([self.emulator, "wineboot"], env=self.environment, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300, check=True)

    def run(self, *words, folder=None, environment=None):
        return subprocess.run([self.emulator, *map(str, words)], env=dict(self.environment, **(environment or {})),
                              cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=300, check=False)
