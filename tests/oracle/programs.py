"""The programs whose answers are compared, each run once per file."""
import json
import subprocess

SECONDS = 120  # for one run; only a hanging program needs that long


class Refused(Exception):
    """kyhost does not open the file."""


def _run(command):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace",
                          timeout=SECONDS, check=False)


def _json(command):
    done = _run(command)
    if done.returncode != 0:
        raise RuntimeError(f"{command[0]} failed: {done.stderr.strip()[-400:]}")
    return json.loads(done.stdout)


def kyhost(program, path):
    """The description of every track by itself, without the silence that the sync correction adds."""
    done = _run([program, "info", "--json", "--set", "joinMonoStreams=0", "--set", "module.AVSyncFix=0", path])
    if done.returncode != 0:
        raise Refused(done.stderr.strip()[-400:])
    return json.loads(done.stdout)


def ffprobe(path):
    """Streams, programs and every decoded frame of picture and sound."""
    frame = "media_type,stream_index,pict_type,key_frame,pts,interlaced_frame,top_field_first,nb_samples:frame_tags"
    return _json(["ffprobe", "-v", "quiet", "-of", "json", "-show_streams", "-show_format", "-show_frames",
                  "-show_entries", f"stream:stream_tags:stream_side_data:format:format_tags:frame={frame}", path])


def mediainfo(path):
    return _json(["mediainfo", "--Output=JSON", path])["media"]["track"]


def traced_headers(path, video):
    """The log of coded headers of the first pictures of one video stream; empty for other codecs."""
    done = _run(["ffmpeg", "-v", "info", "-nostdin", "-i", path, "-map", f"0:v:{video}", "-c", "copy",
                 "-frames:v", "3", "-bsf:v", "trace_headers", "-f", "null", "-"])
    return done.stderr
