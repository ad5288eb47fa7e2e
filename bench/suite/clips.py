"""The clips that are decoded: real footage, encoded once and kept below build/."""

import subprocess
from pathlib import Path

SIZES = {"small": (320, 240), "cif": (352, 288), "720p": (1280, 720), "1080p": (1920, 1080), "2160p": (3840, 2160)}
KILOBITS = {"small": 300, "cif": 500, "720p": 2000, "1080p": 4000, "2160p": 12000}
HEVC_SHARE = 0.6  # of H.264's bit rate
FRAMES = {"small": 3000, "cif": 200, "720p": 200, "1080p": 100, "2160p": 100}
KEY_INTERVAL = 50


class Clips:
    def __init__(self, source: Path, folder: Path):
        self._source = source
        self._folder = folder

    def recipe(self, codec: str, size: str) -> list:
        """@return the arguments of ffmpeg, except the output."""
        width, height = SIZES[size]
        kilobits = round(KILOBITS[size] * (HEVC_SHARE if codec == "hevc" else 1))
        filters = f"scale={width}:{height}:flags=lanczos,fps=25"
        if codec == "h264":
            encoder = ["-c:v", "libx264", "-g", KEY_INTERVAL, "-keyint_min", KEY_INTERVAL, "-sc_threshold", 0]
        else:
            encoder = ["-c:v", "libx265", "-preset", "veryfast", "-tag:v", "hvc1", "-x265-params",
                       f"keyint={KEY_INTERVAL}:min-keyint={KEY_INTERVAL}:scenecut=0:open-gop=0:log-level=none"]
        return ["-stream_loop", -1, "-i", self._source.name, "-an", "-vf", filters, "-frames:v", FRAMES[size],
                "-pix_fmt", "yuv420p", *encoder, "-b:v", f"{kilobits}k"]

    def clip(self, codec: str, size: str) -> Path:
        path = self._folder / f"{codec}-{size}.mp4"
        if not path.exists():
            print(f"making {path.name}", flush=True)
            self._write(["-hide_banner", *self.recipe(codec, size)], path)
        return path

    def cut(self, codec: str, size: str, frames: int) -> Path:
        """@return the beginning of a clip."""
        path = self._folder / f"{codec}-{size}-{frames}.mp4"
        if not path.exists():
            self._write(["-i", self.clip(codec, size), "-c", "copy", "-frames:v", frames], path)
        return path

    def repeated(self, codec: str, size: str, times: int) -> Path:
        """@return a clip several times over."""
        path = self._folder / f"{codec}-{size}-x{times}.mp4"
        if not path.exists():
            self._write(["-stream_loop", times - 1, "-i", self.clip(codec, size), "-c", "copy"], path)
        return path

    def sound(self, name: str, seconds: int) -> Path:
        """@return sound in the file format `name`."""
        path = self._folder / f"sound-{seconds}.{name}"
        if not path.exists():
            print(f"making {path.name}", flush=True)
            self._write(["-stream_loop", -1, "-i", self._source.name, "-vn", "-t", seconds], path)
        return path

    def _write(self, arguments: list, path: Path) -> None:
        self._folder.mkdir(parents=True, exist_ok=True)
        partial = path.with_suffix(".partial" + path.suffix)
        subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *map(str, arguments), partial], check=True,
                       cwd=self._source.parent)
        partial.rename(path)
