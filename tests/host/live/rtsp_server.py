#!/usr/bin/python3
"""Serves the H.264 video of an MP4 file by RTSP at rtsp://127.0.0.1:PORT/live, from its beginning for each client.

Usage: rtsp_server.py PORT FILE [udp]. With "udp" it sends datagrams only. Prints "ready" once clients can connect,
and ends with its standard input.
"""

import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtsp", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtsp, GstRtspServer  # noqa: E402


def main():
    port, file, *transport = sys.argv[1:]
    Gst.init(None)
    server = GstRtspServer.RTSPServer()
    server.set_address("127.0.0.1")
    server.set_service(port)
    factory = GstRtspServer.RTSPMediaFactory()
    factory.set_launch(f'( filesrc location="{file}" ! qtdemux ! rtph264pay name=pay0 config-interval=-1 )')
    if transport == ["udp"]:
        factory.set_protocols(GstRtsp.RTSPLowerTrans.UDP)
    server.get_mount_points().add_factory("/live", factory)
    loop = GLib.MainLoop()
    if server.attach(None) == 0:
        sys.exit(f"cannot listen at port {port}")
    GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT, GLib.IOCondition.HUP, lambda *_: loop.quit())
    print("ready", flush=True)
    loop.run()


if __name__ == "__main__":
    main()
