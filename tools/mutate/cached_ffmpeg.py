#!/usr/bin/env -S /usr/bin/python3 -SE
"""Stands for the `ffmpeg` program in mutation runs: what one test program has had made, the next run takes from
KY_FFMPEG_CACHE. Answers are known by the arguments and by the contents of the files among them."""
import hashlib
import os
import re
import shutil
import subprocess
import sys
import tempfile

CACHE = os.environ["KY_FFMPEG_CACHE"]
PROGRAM = os.environ["KY_FFMPEG"]
# Folders of test programs have a random end.
RANDOM = re.compile(r"/[^/' ]*-?_?[A-Za-z0-9]{6}/")


def key_of(arguments, output):
    digest = hashlib.sha1()
    for argument in arguments:
        is_input = argument != output and os.path.isfile(argument)
        text = os.path.basename(argument) if is_input or argument == output else RANDOM.sub("/", argument)
        digest.update(text.encode() + b"\0")
        if is_input:
            with open(argument, "rb") as file:
                digest.update(hashlib.sha1(file.read()).digest())
    return digest.hexdigest()


def store(path, contents):
    """A name shows up in the cache when its contents are complete."""
    handle, name = tempfile.mkstemp(dir=CACHE)
    with os.fdopen(handle, "wb") as file:
        file.write(contents)
    os.replace(name, path)


def main():
    arguments = sys.argv[1:]
    output = arguments[-1] if arguments and os.path.isabs(arguments[-1]) else ""
    kept = os.path.join(CACHE, key_of(arguments, output))
    if os.path.exists(kept + ".said") and (not output or os.path.exists(kept)):
        if output:
            shutil.copyfile(kept, output)
        with open(kept + ".said", "rb") as file:
            shutil.copyfileobj(file, sys.stdout.buffer)
        return 0
    done = subprocess.run([PROGRAM, *arguments], stdout=subprocess.PIPE, check=False)
    sys.stdout.buffer.write(done.stdout)
    if done.returncode == 0 and (not output or os.path.isfile(output)):
        if output:
            with open(output, "rb") as file:
                store(kept, file.read())
        store(kept + ".said", done.stdout)
    return done.returncode


if __name__ == "__main__":
    sys.exit(main())
