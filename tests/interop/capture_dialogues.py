#!/usr/bin/python3
"""Captures the replies of real RTSP servers as test data for the standard dialect's parsers.

Usage: capture_dialogues.py OUTPUT_DIR [gstreamer] [vlc] [perl]
Each server is started on 127.0.0.1 with a free port, asked OPTIONS, DESCRIBE, SETUP (TCP and
UDP) and PLAY by a plain socket client, and stopped by its pid. Every reply is written byte
for byte to OUTPUT_DIR/<server>-<step>.txt; for GStreamer also the first interleaved bytes
after the PLAY reply (<server>-play-tcp-stream.bin) and the 401 challenge of a protected mount.
"""
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
USER_AGENT = "PlayerSDK-capture"


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_listening(port, proc, seconds=20):
    deadline = time.time() + seconds
    while time.time() < deadline:
        if proc.poll() is not None:
            raise RuntimeError("server exited with %s" % proc.returncode)
        try:
            socket.create_connection(("127.0.0.1", port), timeout=0.5).close()
            return
        except OSError:
            time.sleep(0.1)
    raise RuntimeError("server on port %d did not listen" % port)


def stop(proc):
    if proc.poll() is None:
        os.kill(proc.pid, signal.SIGTERM)
        try:
            proc.wait(5)
        except subprocess.TimeoutExpired:
            os.kill(proc.pid, signal.SIGKILL)
            proc.wait()


class Connection:
    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.buf = b""
        self.cseq = 0

    def request(self, method, url, headers=()):
        self.cseq += 1
        text = "%s %s RTSP/1.0\r\nCSeq: %d\r\n" % (method, url, self.cseq)
        for h in headers:
            text += h + "\r\n"
        text += "User-Agent: %s\r\n\r\n" % USER_AGENT
        self.sock.sendall(text.encode())
        return self.reply()

    def fill(self):
        data = self.sock.recv(65536)
        if not data:
            raise RuntimeError("connection closed")
        self.buf += data

    def reply(self):
        # Interleaved frames that arrive before the reply are skipped.
        while True:
            while len(self.buf) < 4:
                self.fill()
            if self.buf[:1] == b"$":
                size = 4 + int.from_bytes(self.buf[2:4], "big")
                while len(self.buf) < size:
                    self.fill()
                self.buf = self.buf[size:]
                continue
            while b"\r\n\r\n" not in self.buf:
                self.fill()
            head, _ = self.buf.split(b"\r\n\r\n", 1)
            length = 0
            for line in head.split(b"\r\n"):
                name, _, value = line.partition(b":")
                if name.strip().lower() == b"content-length":
                    length = int(value.strip())
            total = len(head) + 4 + length
            while len(self.buf) < total:
                self.fill()
            reply, self.buf = self.buf[:total], self.buf[total:]
            return reply

    def stream_bytes(self, count):
        while len(self.buf) < count:
            self.fill()
        data, self.buf = self.buf[:count], self.buf[count:]
        return data

    def close(self):
        self.sock.close()


def header(reply, name):
    for line in reply.split(b"\r\n\r\n", 1)[0].split(b"\r\n")[1:]:
        key, _, value = line.partition(b":")
        if key.strip().lower() == name.lower():
            return value.strip().decode()
    return None


def video_control(url, describe):
    base = header(describe, b"content-base") or header(describe, b"content-location") or url
    body = describe.split(b"\r\n\r\n", 1)[1].decode()
    in_video, control = False, None
    for line in body.splitlines():
        if line.startswith("m="):
            in_video = line.startswith("m=video")
        elif in_video and line.startswith("a=control:") and control is None:
            control = line[len("a=control:"):].strip()
    if control is None or control == "*":
        return base
    if "://" in control:
        return control
    return base + ("" if base.endswith("/") else "/") + control


def teardown(conn, url, session):
    """rtsp-server-perl closes a session without answering its TEARDOWN."""
    conn.sock.settimeout(2)
    try:
        conn.request("TEARDOWN", url, ["Session: " + session])
    except (TimeoutError, RuntimeError):
        pass


def session_id(reply):
    return header(reply, b"session").split(";")[0].strip()


def dialogue(port, path, out, name, stream_bytes=0):
    url = "rtsp://127.0.0.1:%d%s" % (port, path)
    tcp = Connection(port)
    save(out, name, "options", tcp.request("OPTIONS", url))
    describe = tcp.request("DESCRIBE", url, ["Accept: application/sdp"])
    save(out, name, "describe", describe)
    track = video_control(url, describe)
    setup = tcp.request("SETUP", track, ["Transport: RTP/AVP/TCP;unicast;interleaved=0-1"])
    save(out, name, "setup-tcp", setup)
    if setup.startswith(b"RTSP/1.0 200"):  # a live VLC stream refuses TCP with 461
        session = session_id(setup)
        play = tcp.request("PLAY", url, ["Session: " + session])
        save(out, name, "play-tcp", play)
        if stream_bytes:
            save(out, name, "play-tcp-stream", tcp.stream_bytes(stream_bytes), "bin")
        teardown(tcp, url, session)
    tcp.close()

    udp = Connection(port)
    describe = udp.request("DESCRIBE", url, ["Accept: application/sdp"])
    rtp = free_port() & ~1
    setup = udp.request("SETUP", video_control(url, describe),
                        ["Transport: RTP/AVP;unicast;client_port=%d-%d" % (rtp, rtp + 1)])
    save(out, name, "setup-udp", setup)
    session = session_id(setup)
    save(out, name, "play-udp", udp.request("PLAY", url, ["Session: " + session]))
    teardown(udp, url, session)
    udp.close()


def save(out, server, step, data, ext="txt"):
    path = os.path.join(out, "%s-%s.%s" % (server, step, ext))
    with open(path, "wb") as f:
        f.write(data)
    print("wrote", path)


def capture_gstreamer(out):
    port = free_port()
    proc = subprocess.Popen([os.path.join(HERE, "gst_rtsp_server.py"), str(port), "/test"])
    try:
        wait_listening(port, proc)
        dialogue(port, "/test", out, "gstreamer", stream_bytes=8192)
    finally:
        stop(proc)
    port = free_port()
    proc = subprocess.Popen([os.path.join(HERE, "gst_rtsp_server.py"), str(port), "/test",
                             "--auth=user:secret"])
    try:
        wait_listening(port, proc)
        conn = Connection(port)
        url = "rtsp://127.0.0.1:%d/test" % port
        save(out, "gstreamer", "describe-401", conn.request("DESCRIBE", url, ["Accept: application/sdp"]))
        conn.close()
    finally:
        stop(proc)


def make_clip(folder):
    """A few seconds of test pattern in MP4 for VLC to stream, written with GStreamer."""
    clip = os.path.join(folder, "clip.mp4")
    script = ("import gi; gi.require_version('Gst','1.0'); from gi.repository import Gst;"
              "Gst.init(None); p=Gst.parse_launch('videotestsrc num-buffers=250 ! "
              "video/x-raw,width=320,height=240,framerate=25/1 ! x264enc ! mp4mux ! "
              "filesink location=%s'); p.set_state(Gst.State.PLAYING);"
              "m=p.get_bus().timed_pop_filtered(Gst.CLOCK_TIME_NONE, Gst.MessageType.EOS|"
              "Gst.MessageType.ERROR); p.set_state(Gst.State.NULL)" % clip)
    subprocess.run(["/usr/bin/python3", "-c", script], check=True)
    os.chmod(folder, 0o755)
    os.chmod(clip, 0o644)
    return clip


def capture_vlc(out):
    with tempfile.TemporaryDirectory() as folder:
        clip = make_clip(folder)
        port = free_port()
        # VLC refuses to run as root.
        proc = subprocess.Popen(["runuser", "-u", "nobody", "--", "cvlc", "-I", "dummy",
                                 "--no-audio", "--loop", clip, "--sout",
                                 "#rtp{sdp=rtsp://127.0.0.1:%d/test}" % port],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            wait_listening(port, proc)
            time.sleep(1)  # the stream must be running before DESCRIBE describes it
            dialogue(port, "/test", out, "vlc")
        finally:
            stop(proc)


ANNOUNCED_SDP = ("v=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=capture\r\nc=IN IP4 127.0.0.1\r\n"
                 "t=0 0\r\nm=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n"
                 "a=fmtp:96 packetization-mode=1;profile-level-id=42C01E;"
                 "sprop-parameter-sets=Z0LAHtkDxWhAAAADAEAAAAwDxYuS,aMuMsg==\r\n"
                 "a=control:streamid=0\r\n")


def capture_perl(out):
    client_port, source_port = free_port(), free_port()
    proc = subprocess.Popen(["rtsp-server-perl", "--clientport", str(client_port),
                             "--serverport", str(source_port),
                             "--client_listen_address", "127.0.0.1",
                             "--source_listen_address", "127.0.0.1",
                             "--rtp_start_port", str(free_port() & ~1)])
    try:
        wait_listening(client_port, proc)
        wait_listening(source_port, proc)
        # A source announces the stream and records into the server.
        source = Connection(source_port)
        url = "rtsp://127.0.0.1:%d/test" % source_port
        source.cseq += 1
        body = ANNOUNCED_SDP.encode()
        source.sock.sendall(("ANNOUNCE %s RTSP/1.0\r\nCSeq: %d\r\nContent-Type: application/sdp\r\n"
                             "Content-Length: %d\r\n\r\n" % (url, source.cseq, len(body))).encode() + body)
        source.reply()
        setup = source.request("SETUP", url + "/streamid=0",
                               ["Transport: RTP/AVP;unicast;client_port=%d-%d;mode=record"
                                % (free_port() & ~1, (free_port() & ~1) + 1)])
        source.request("RECORD", url, ["Session: " + session_id(setup)])
        dialogue(client_port, "/test", out, "perl")
        source.close()
    finally:
        stop(proc)


def main():
    out = sys.argv[1]
    wanted = sys.argv[2:] or ["gstreamer", "vlc", "perl"]
    os.makedirs(out, exist_ok=True)
    for name in wanted:
        {"gstreamer": capture_gstreamer, "vlc": capture_vlc, "perl": capture_perl}[name](out)


if __name__ == "__main__":
    main()
