#!/usr/bin/python3
"""Serves a test pattern as H.264 over RTSP with GStreamer's RTSP server.

Usage: gst_rtsp_server.py PORT [PATH] [--auth USER:PASSWORD]
Listens on 127.0.0.1 only; runs until it is stopped (by its pid).
"""
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtsp", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtsp, GstRtspServer  # noqa: E402

PIPELINE = "( videotestsrc ! x264enc ! rtph264pay name=pay0 pt=96 )"


def add_basic_auth(server, factory, credentials):
    user, password = credentials.split(":", 1)
    auth = GstRtspServer.RTSPAuth()
    token = GstRtspServer.RTSPToken()
    token.set_string(GstRtspServer.RTSP_TOKEN_MEDIA_FACTORY_ROLE, user)
    auth.set_supported_methods(GstRtsp.RTSPAuthMethod.DIGEST)
    auth.add_basic(GstRtspServer.RTSPAuth.make_basic(user, password), token)
    auth.add_digest(user, password, token)
    server.set_auth(auth)
    permissions = GstRtspServer.RTSPPermissions()
    permissions.add_permission_for_role(user, GstRtspServer.RTSP_PERM_MEDIA_FACTORY_ACCESS, True)
    permissions.add_permission_for_role(user, GstRtspServer.RTSP_PERM_MEDIA_FACTORY_CONSTRUCT, True)
    factory.set_permissions(permissions)


def main():
    args = [a for a in sys.argv[1:] if not a.startswith("--auth")]
    auth = [a.split("=", 1)[1] for a in sys.argv[1:] if a.startswith("--auth=")]
    port = args[0]
    path = args[1] if len(args) > 1 else "/test"
    Gst.init(None)
    server = GstRtspServer.RTSPServer()
    server.set_address("127.0.0.1")
    server.set_service(port)
    factory = GstRtspServer.RTSPMediaFactory()
    factory.set_launch(PIPELINE)
    factory.set_shared(True)
    if auth:
        add_basic_auth(server, factory, auth[0])
    server.get_mount_points().add_factory(path, factory)
    if server.attach(None) == 0:
        sys.exit("cannot listen on 127.0.0.1:" + port)
    print("serving rtsp://127.0.0.1:%s%s" % (port, path), flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
