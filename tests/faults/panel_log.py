"""What a session of the daemon left behind, from the simulator's log: the state of the panel, and the system log."""

import json
import re

FRAME_TRANSFERS = 16  # 8 pages, a command and a row of bytes each
LED = re.compile(r"/sys/class/leds/pca963x:(\w+:\w+)/brightness")
OUTPUT = re.compile(r"/sys/class/gpio/gpio(\d+)/(direction|value)")
LEVELS = {"low": "0", "high": "1"}


class PanelLog:
    """before_end: the state, by name, when the daemon began to end, and at_end: after that. A state holds the level of
    each "led:NAME" and "output:NUMBER", "contrast" and "gain", and the bytes of the last whole "frame".
    """

    def __init__(self, path, is_end):
        """is_end tells of a system log message whether the daemon begins to end with it."""
        self.messages = []  # (priority, text)
        self.status = None  # of the daemon, as the simulator tells it
        self.before_end = None
        self.at_end = {}
        self._transfers = []
        with open(path, encoding="utf-8") as file:
            for line in file:
                self._take(json.loads(line), is_end)

    def _take(self, record, is_end):
        kind = record["event"]
        if kind == "syslog":
            self.messages.append((record["priority"], record["text"]))
            if is_end(record["text"]):
                self.before_end = dict(self.at_end)
        elif kind == "exit":
            self.status = int(record["what"])
        elif kind == "write" and "error" not in record:
            self._write(record["path"], record["text"])
        elif kind == "spi" and "error" not in record:
            self._transfer(record["path"], record["bytes"])

    def _write(self, path, text):
        if led := LED.fullmatch(path):
            self.at_end["led:" + led[1]] = text
        elif output := OUTPUT.fullmatch(path):
            self.at_end["output:" + output[1]] = LEVELS.get(text, text)

    def _transfer(self, path, text):
        if path == "/dev/spidev4.0":
            self.at_end["gain"] = text
            return
        sent = text.split()
        if sent[0] == "81" and len(sent) == 2:
            self.at_end["contrast"] = sent[1]
        elif len(sent) in (3, 96):
            self._transfers = self._transfers[-FRAME_TRANSFERS + 1:] + [text]
            if len(sent) == 96 and len(self._transfers) == FRAME_TRANSFERS and self._transfers[0].startswith("B0 "):
                self.at_end["frame"] = " ".join(self._transfers)
