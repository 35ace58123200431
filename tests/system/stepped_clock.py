"""A wall clock of an agent's own, which can be set. A native agent alone can have it."""
import struct

import harness

LIBRARY = harness.BUILD_DIR / "stepped_clock.so"
FILE = harness.AP_DIR / "stepped_clock"


class SteppedClock:
    def __init__(self):
        self._ahead_ns = 0
        self.step(0)

    def step(self, seconds):
        """Sets the clock so far ahead, or back, of what it shows."""
        self._ahead_ns += int(seconds * 10**9)
        with open(FILE, "r+b" if FILE.exists() else "wb") as file:  # it is mapped
            file.write(struct.pack("=q", self._ahead_ns))

    @staticmethod
    def environment():
        """For an agent that is to go by this clock."""
        assert LIBRARY.exists()
        return {
            "LD_PRELOAD": str(LIBRARY),
            "STEPPED_CLOCK": str(FILE),
            "ASAN_OPTIONS": "verify_asan_link_order=0",
        }
