"""A program that reads frames from the library, beside decoding-host, which counts them itself."""

from context import Context
from process import each, instructions

TARGET = 1.01


def measure(context: Context) -> None:
    clip = context.root / "samples/cup.mp4"
    few, many = (1, 2) if context.quick else (1, 4)

    def reader(repeat: int) -> list:
        return [context.programs / "reader_bench", clip, repeat]

    def host(repeat: int) -> list:
        return [context.programs / "decoding-host", "decode", "--threads", 1, "--streams", "video", "--repeat", repeat,
                "--output", "null", clip]

    context.add("library.next", "a loop over next(), beside decoding-host with --output null: instructions",
                each(instructions, reader, few, many) / each(instructions, host, few, many), "", TARGET)
