"""Which calls let the interpreter's lock go: other threads run meanwhile."""

import gc
import sys
import threading

import numpy as np
import pytest

import tesparser
import wire
from tesparser import _core


class Other:
    """A thread that waits for the lock while a call runs. Nobody has to give the lock away here but who wants to."""

    def __init__(self):
        self._wake, self._done = threading.Semaphore(0), threading.Semaphore(0)
        self._ran = self._ends = False
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._interval = sys.getswitchinterval()
        gc.collect()
        gc.disable()
        sys.setswitchinterval(1000)
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._ends = True
        self._wake.release()
        self._thread.join()
        sys.setswitchinterval(self._interval)
        gc.enable()

    def _run(self):
        while True:
            self._wake.acquire()
            self._ran = True
            self._done.release()
            if self._ends:
                return

    def runs_during(self, call):
        self._ran = False
        self._wake.release()
        assert not self._ran
        call()
        ran = self._ran
        self._done.acquire()
        return ran


@pytest.fixture
def large(schema):
    """A table of 20,000 rows, inside which are as many, as a reply."""
    message = schema.reply(28)
    for i in range(20_000):
        message.RepDataPaiXu.add(Obj="SH600000", Value=wire.packed(i, 10))
    return message.SerializeToString()


def calls(reply):
    stream = [(b"(bytes)", wire.delimited([reply] * 2))]
    asked = {**tesparser.read(b"", id=28)._asked, "batch_rows": 2**40}
    numbers = np.zeros(500_000, np.int64)
    return {
        "table": lambda: lambda: tesparser.table(reply),
        "why": lambda: lambda: tesparser.why(reply),
        "json": lambda: lambda: tesparser.json(reply),
        "arrays": lambda: tesparser.table(reply)._to_columns,
        "flat": lambda: lambda columns=tesparser.table(reply)._to_columns(): _core.flatten(columns),
        "rows": lambda: _core.Stream(stream, "delimited", asked).next,
        "fields": lambda: _core.Stream(stream, "delimited", {**asked, "id": 0}).fields,
        "replies": lambda: _core.ReplyIterator(stream, "delimited").next,
        "scan": lambda: lambda: _core.scan([(b"(bytes)", b"\x02\x08\x1c" * 50_000)], "delimited"),
        "numbers": lambda: lambda: _core.unpack(numbers),
        "times": lambda: lambda: _core.times(numbers, "unix"),
    }


@pytest.mark.parametrize("what", list(calls(b"")))
def test_other_threads_run_during_long_calls(large, what):
    """Whether one is awake in time is up to the machine: it is tried until it was."""
    make = calls(large)[what]
    with Other() as other:
        assert any(other.runs_during(make()) for _ in range(200))


@pytest.mark.parametrize("call", [tesparser.table, tesparser.why, tesparser.json])
def test_a_small_reply_is_decoded_with_the_lock(sample, call):
    reply = sample("20-QuoteDynaSingle")
    assert len(reply) < 1024
    with Other() as other:
        assert not any(other.runs_during(lambda: call(reply)) for _ in range(200))
