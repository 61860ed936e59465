"""Frames from a TCP stream on 127.0.0.1: a server in the test, and vqlog serve."""

import socket
import subprocess
import threading

import pandas as pd
import pytest

import vq_corelog as vq
from conftest import random_frames


class Server:
    """Accepts one client on 127.0.0.1 and sends it `data` in pieces of `chunk` bytes."""

    def __init__(self, data: bytes, chunk: int = 7, hold: float = 0.0):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(5)
        self.port = self.listener.getsockname()[1]
        self.data, self.chunk, self.hold = data, chunk, threading.Event()
        self.hold_seconds = hold
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        try:
            client, _ = self.listener.accept()
        except OSError:
            return
        with client:
            try:
                for i in range(0, len(self.data), self.chunk):
                    client.sendall(self.data[i:i + self.chunk])
            except OSError:  # the client gave up on the stream, as some tests want it to
                return
            self.hold.wait(self.hold_seconds)

    def close(self):
        self.hold.set()
        self.thread.join(5)
        self.listener.close()


def test_frames_arrive_as_sent_whatever_the_pieces():
    frames = random_frames(3, 40)
    server = Server(b"".join(f.to_bytes() for f in frames), chunk=7)
    try:
        with vq.connect("127.0.0.1", server.port, timeout=5) as stream:
            got = [f.to_bytes() for f in stream]
            assert not stream.connected
    finally:
        server.close()
    assert got == [f.to_bytes() for f in frames]


def test_batches_are_the_columns_a_recording_of_the_same_frames_gives(tmp_path):
    frames = random_frames(4, 60)
    with vq.Writer(tmp_path / "rec.vql", per_kind=False) as writer:
        writer.write_all(frames)
    expected = vq.read(tmp_path / "rec.vql").to_pandas()
    server = Server(b"".join(f.to_bytes() for f in frames), chunk=4096)
    try:
        with vq.connect("127.0.0.1", server.port, timeout=5) as stream:
            parts = list(stream.batches(frames=25, interval=5))
    finally:
        server.close()
    assert [len(p) for p in parts] == [25, 25, len(frames) - 50]
    pd.testing.assert_frame_equal(pd.concat(parts, ignore_index=True), expected)
    with pytest.raises(ValueError, match="format is pandas, numpy or arrow"):
        next(stream.batches(format="csv"))


def test_silence_raises_timeout_and_garbage_raises_a_library_error():
    server = Server(b"", hold=5)
    try:
        stream = vq.connect("127.0.0.1", server.port, timeout=0.2)
        with pytest.raises(TimeoutError):
            stream.receive()
        stream.close()
    finally:
        server.close()
    server = Server(b"\x09\x00\x03" + b"\xff" * 64, hold=5)
    try:
        with pytest.raises(vq.Error):
            vq.connect("127.0.0.1", server.port, timeout=2).receive()
    finally:
        server.close()


def test_refused_connection_raises_socket_error_naming_the_address():
    with socket.create_server(("127.0.0.1", 0)) as s:
        port = s.getsockname()[1]
    with pytest.raises(vq.SocketError) as error:
        vq.connect("127.0.0.1", port)
    assert error.value.path == f"127.0.0.1:{port}"


def test_vqlog_serve_streams_the_recording(demo, vqlog):
    server = subprocess.Popen([vqlog, "serve", str(demo), "--port", "0", "--wait", "1",
                               "--rate", "max"], stdout=subprocess.PIPE, text=True)
    try:
        line = server.stdout.readline()
        port = int(line.rsplit(":", 1)[1])  # "vqlog serve: serving DIR on 127.0.0.1:PORT"
        with vq.connect("127.0.0.1", port, timeout=10) as stream:
            got = [f.to_bytes() for f in stream]
        assert server.wait(timeout=20) == 0
    finally:
        server.kill()
        server.wait()
    assert got == [f.to_bytes() for f in vq.read(demo).frames()]
