#!/usr/bin/python3
"""Serves the H.264 video of an MP4 file by RTSP at rtsp://127.0.0.1:PORT/live, from its beginning for each client.

Usage: rtsp_server.py PORT FILE [udp|password]. With "udp" it sends datagrams only; with "password" it lets nobody in
but "keeper" with "sesame". Prints "ready" once clients can connect, then "client" for each, and ends with its standard
input.
"""

import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtsp", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtsp, GstRtspServer  # noqa: E402


def require_password(server, factory):
    auth = GstRtspServer.RTSPAuth()
    token = GstRtspServer.RTSPToken()
    token.set_string("media.factory.role", "keeper")
    auth.add_basic(GstRtspServer.RTSPAuth.make_basic("keeper", "sesame"), token)
    server.set_auth(auth)
    factory.add_role_from_structure(
        Gst.Structure.from_string(
            "keeper, media.factory.access=(boolean)true, media.factory.construct=(boolean)true")[0])


def main():
    port, file, *mode = sys.argv[1:]
    Gst.init(None)
    server = GstRtspServer.RTSPServer()
    server.set_address("127.0.0.1")
    server.set_service(port)
    factory = GstRtspServer.RTSPMediaFactory()
    factory.set_launch(f'( filesrc location="{file}" ! qtdemux ! rtph264pay name=pay0 config-interval=-1 )')
    if mode == ["udp"]:
        factory.set_protocols(GstRtsp.RTSPLowerTrans.UDP)
    if mode == ["password"]:
        require_password(server, factory)
    server.get_mount_points().add_factory("/live", factory)
    server.connect("client-connected", lambda *_: print("client", flush=True))
    loop = GLib.MainLoop()
    if server.attach(None) == 0:
        sys.exit(f"cannot listen at port {port}")
    GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT, GLib.IOCondition.HUP, lambda *_: loop.quit())
    print("ready", flush=True)
    loop.run()


if __name__ == "__main__":
    main()
