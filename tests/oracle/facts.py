"""What kyhost and two other readers say about a file, under the same names.

Every reader gives {(stream, field): value}, for example ("video 0", "width"). What a reader does not tell is left
out. "rate" is that of the coded pictures, "order" 0 progressive, 1 top field first, 2 bottom field first.
"""
from fractions import Fraction

import coded_headers
from coded_headers import is_ntsc

# ITU-T H.273 tables 2, 3 and 4: names of FFmpeg, then of mediainfo.
PRIMARIES = {"bt709": 1, "bt470m": 4, "bt470bg": 5, "smpte170m": 6, "smpte240m": 7, "bt2020": 9,
             "BT.709": 1, "BT.601 PAL": 5, "BT.601 NTSC": 6, "BT.2020": 9}
TRANSFERS = {"bt709": 1, "bt470m": 4, "bt470bg": 5, "smpte170m": 6, "smpte240m": 7, "iec61966-2-4": 11,
             "bt2020-10": 14, "smpte2084": 16, "arib-std-b67": 18,
             "BT.709": 1, "BT.470 System M": 4, "BT.470 System B/G": 5, "BT.601": 6, "xvYCC": 11, "PQ": 16, "HLG": 18}
MATRICES = {"gbr": 0, "bt709": 1, "fcc": 4, "bt470bg": 5, "smpte170m": 6, "smpte240m": 7, "bt2020nc": 9,
            "BT.709": 1, "BT.470 System B/G": 5, "BT.601": 6, "BT.2020 non-constant": 9}
UNSPECIFIED = 2

VIDEO_CODECS = {"h264": "H.264", "hevc": "HEVC", "vc1": "VC-1", "wmv3": "VC-1", "jpeg2000": "JPEG2000",
                "dvvideo": "DV", "mpeg2video": "MPEG-2", "mpeg1video": "MPEG-1", "mpeg4": "MPEG-4",
                "msmpeg4v1": "MPEG-4", "msmpeg4v2": "MPEG-4", "msmpeg4v3": "MPEG-4", "h263": "MPEG-4",
                "AVC": "H.264", "HEVC": "HEVC", "VC-1": "VC-1", "JPEG 2000": "JPEG2000", "DV": "DV",
                "MPEG-4 Visual": "MPEG-4", "H.263": "MPEG-4"}
AUDIO_CODECS = {"mp1": "MPEG", "mp2": "MPEG", "mp3": "MPEG", "aac": "AAC", "aac_latm": "AAC", "ac3": "Dolby",
                "eac3": "Dolby", "s302m": "AES3", "amr_nb": "AMR", "amr_wb": "AMR", "wmav1": "WMA", "wmav2": "WMA",
                "wmapro": "WMA", "wmavoice": "WMA", "wmalossless": "WMA", "dts": "DTS",
                "MPEG Audio": "MPEG", "AAC": "AAC", "AC-3": "Dolby", "E-AC-3": "Dolby", "AMR": "AMR", "WMA": "WMA",
                "DTS": "DTS"}
# Sound streams are listed by format, not in the order of the file.
AUDIO_ORDER = ["MPEG", "AAC", "LPCM", "Dolby", "AES3", "QT_PCM", "AMR", "WMA", "DTS"]
# Delivered word sizes of formats that do not keep that of the file.
DECODED_BITS = {"MPEG": 16, "AAC": 16, "AMR": 16, "WMA": 16, "Dolby": 32, "DTS": 32}


def pcm_name(container):
    return {"mxf": "AES3", "quicktime": "QT_PCM"}.get(container, "LPCM")


def by_format(streams):
    """Pairs of stream name and stream. MPEG and AAC are one run."""
    rank = lambda codec: 1 if codec == "MPEG" else AUDIO_ORDER.index(codec)
    known = [entry for entry in streams if entry["codec"] in AUDIO_ORDER]
    return [(f"audio {i}", entry) for i, entry in enumerate(sorted(known, key=lambda e: rank(e["codec"])))]


def of_kyhost(document):
    facts = {}
    for number, info in enumerate(document["video"]):
        entry = {key: info[key] for key in ("codec", "width", "height", "containerWidth", "containerHeight",
                                            "frameAspect", "pixelAspect", "vBitrate", "frames", "containerFPS",
                                            "streamFPS", "N", "M", "pal")}
        entry["vbr"] = info.get("vbr")
        entry |= {key: info["framerate"][key] for key in ("rate", "order", "dropFrame")}
        entry |= info["colorimetry"]
        entry |= {key: info["codecParams"].get(key) for key in ("MPEG", "frame_dct")}
        facts |= {(f"video {number}", field): value for field, value in entry.items() if value is not None}
    for number, info in enumerate(document["audio"]):
        facts |= {(f"audio {number}", field): info[field]
                  for field in ("codec", "samplerate", "channels", "bitsPerSample", "aBitrate", "samples")}
    return facts


def ratio(text):
    above, _, below = text.replace(":", "/").partition("/")
    return float(Fraction(int(above), int(below))) if below and int(below) else None


def _container(probe):
    name = probe["format"]["format_name"]
    if name.startswith("mov"):
        brand = probe["format"].get("tags", {}).get("major_brand", "qt  ")
        return "quicktime" if brand == "qt  " else "mp4"
    return "mxf" if name.startswith("mxf") else name


def _probed_groups(frames):
    """Distances of key pictures and of pictures that others refer to, in presentation."""
    keys = [i for i, frame in enumerate(frames) if frame["key_frame"]]
    if not keys:
        return {}
    # Without a second key picture, all that is left of the file is one group.
    found = {"N": (keys[1] if len(keys) > 1 else len(frames)) - keys[0]}
    anchors = [i for i, frame in enumerate(frames[keys[0]:]) if frame["pict_type"] != "B"]
    found["M"] = anchors[1] - anchors[0] if len(anchors) > 1 else 1
    return found


def _probed_rate(stream, frames):
    """Pictures per second by their stamps, with the error that the clock of the container leaves."""
    stamps = [(number, frame["pts"]) for number, frame in enumerate(frames) if "pts" in frame]
    if len(stamps) < 2 or stamps[-1][1] <= stamps[0][1]:
        return None
    pictures, ticks = (last - first for first, last in zip(stamps[0], stamps[-1]))
    return Approximate(float(pictures / (ticks * Fraction(stream["time_base"]))), 1.5 / ticks)


class Approximate(float):
    """A number that a reader knows up to a relative error."""

    def __new__(cls, value, error):
        made = super().__new__(cls, value)
        made.error = error
        return made


def _probed_video(stream, frames, entry_size):
    width, height = stream["width"], stream["height"]
    facts = {"codec": VIDEO_CODECS[stream["codec_name"]], "width": width, "height": height, "frames": len(frames)}
    facts["containerWidth"], facts["containerHeight"] = entry_size or (width, height)
    sample = ratio(stream.get("sample_aspect_ratio", ""))
    facts["frameAspect"] = sample * width / height if sample else width / height
    facts["pixelAspect"] = sample or 1.0
    facts["containerFPS"] = ratio(stream["avg_frame_rate"]) or ratio(stream["r_frame_rate"])
    facts["rate"] = _probed_rate(stream, frames) or facts["containerFPS"]
    facts["pal"] = int(round(facts["rate"], 2) in (25, 50))
    if frames:
        facts["order"] = 0 if not frames[0]["interlaced_frame"] else 1 if frames[0]["top_field_first"] else 2
        facts |= _probed_groups(frames)
    codes = [stream.get("tags", {}).get("timecode", "")]
    codes += [frame.get("tags", {}).get("timecode", "") for frame in frames[:1]]
    facts["dropFrame"] = any(";" in code for code in codes) and is_ntsc(facts["rate"])
    for field, key, names in (("primaries", "color_primaries", PRIMARIES), ("transfer", "color_transfer", TRANSFERS),
                              ("matrix", "color_space", MATRICES)):
        facts[field] = names[stream[key]] if key in stream else UNSPECIFIED
    if facts["codec"].startswith("MPEG-") and facts["codec"] != "MPEG-4":
        highest = [data["max_bitrate"] for data in stream.get("side_data_list", []) if data.get("max_bitrate")]
        if highest:
            facts["vBitrate"] = highest[0]
    elif "bit_rate" in stream:
        facts["vBitrate"] = int(stream["bit_rate"])
    return facts


def _probed_audio(stream, frames, container):
    name = stream["codec_name"]
    codec = pcm_name(container) if name.startswith("pcm_") else AUDIO_CODECS.get(name, name)
    facts = {"codec": codec, "samplerate": int(stream["sample_rate"]), "channels": stream["channels"],
             "samples": sum(frame["nb_samples"] for frame in frames)}
    facts["bitsPerSample"] = DECODED_BITS.get(codec) or int(stream.get("bits_per_raw_sample", 0)) or stream["bits_per_sample"]
    if "bit_rate" in stream:
        facts["aBitrate"] = int(stream["bit_rate"])
    return facts


def of_ffprobe(probe, entry_sizes):
    frames = {}
    for frame in probe.get("frames", []):
        if "stream_index" in frame:
            frames.setdefault(frame["stream_index"], []).append(frame)
    video, audio = [], []
    for stream in probe["streams"]:
        shown = frames.get(stream["index"], [])
        if stream.get("codec_type") == "video" and stream.get("codec_name") in VIDEO_CODECS:
            size = entry_sizes[len(video)] if len(video) < len(entry_sizes) else None
            video.append(_probed_video(stream, shown, size))
        elif stream.get("codec_type") == "audio" and "codec_name" in stream:
            audio.append(_probed_audio(stream, shown, _container(probe)))
    named = [(f"video {i}", entry) for i, entry in enumerate(video)] + by_format(audio)
    return {(name, field): value for name, entry in named for field, value in entry.items()}


def _informed_video(track):
    facts = {}
    name = track["Format"]
    facts["codec"] = f"MPEG-{track['Format_Version']}" if name == "MPEG Video" else VIDEO_CODECS.get(name, name)
    number = lambda key, kind=float: kind(track[key]) if key in track else None
    facts["width"] = number("Sampled_Width", int) or number("Width", int)
    facts["height"] = number("Sampled_Height", int) or number("Height", int)
    facts["frameAspect"] = number("DisplayAspectRatio_Original") or number("DisplayAspectRatio")
    facts["pixelAspect"] = number("PixelAspectRatio_Original") or number("PixelAspectRatio")
    exact = "FrameRate_Num" in track
    facts["rate"] = number("FrameRate_Num") / number("FrameRate_Den") if exact else number("FrameRate")
    facts["streamFPS"] = number("FrameRate_Original")
    facts["frames"] = number("FrameCount", int)
    facts["dropFrame"] = track["Delay_DropFrame"] == "Yes" if "Delay_DropFrame" in track else None
    group = dict(part.split("=") for part in track.get("Format_Settings_GOP", "").split(", ") if "=" in part)
    facts |= {key: int(value) for key, value in group.items() if value.isdigit()}
    if "ScanType" in track:
        order = track.get("ScanOrder_Original", track.get("ScanOrder"))
        facts["order"] = 0 if track["ScanType"] == "Progressive" else {"TFF": 1, "BFF": 2}.get(order)
    if "BitRate_Mode" in track and facts["codec"] in ("MPEG-1", "MPEG-2", "H.264"):
        facts["vbr"] = int(track["BitRate_Mode"] == "VBR")
    if facts["codec"] in ("MPEG-1", "MPEG-2"):  # whose headers tell the highest rate
        facts["vBitrate"] = number("BitRate_Maximum") or (number("BitRate") if not facts["vbr"] else None)
        facts["MPEG"] = int(track["Format_Version"])
    else:
        facts["vBitrate"] = number("BitRate")
    for field, key, names in (("primaries", "colour_primaries", PRIMARIES),
                              ("transfer", "transfer_characteristics", TRANSFERS),
                              ("matrix", "matrix_coefficients", MATRICES)):
        facts[field] = names.get(track.get(key))
    return facts


def _informed_audio(track, container):
    codec = pcm_name(container) if track["Format"] == "PCM" else AUDIO_CODECS.get(track["Format"], track["Format"])
    facts = {"codec": codec, "samplerate": int(track["SamplingRate"])}
    facts["channels"] = int(track["Channels"]) if "Channels" in track else None
    facts["aBitrate"] = int(track["BitRate"]) if "BitRate" in track else None
    facts["bitsPerSample"] = DECODED_BITS.get(codec) or int(track["BitDepth"])
    return facts


def of_mediainfo(tracks, probe):
    video = [_informed_video(track) for track in tracks if track["@type"] == "Video"]
    audio = [_informed_audio(track, _container(probe)) for track in tracks if track["@type"] == "Audio"]
    named = [(f"video {i}", entry) for i, entry in enumerate(video)] + by_format(audio)
    return {(name, field): value for name, entry in named for field, value in entry.items() if value is not None}


def of_headers(logs):
    """`logs` of trace_headers, one for each video stream."""
    facts = {}
    for number, log in enumerate(logs):
        found = coded_headers.facts_of(log)
        if "frameAspect" in found:
            found["pixelAspect"] = found["frameAspect"] * found["height"] / found["width"]
        facts |= {(f"video {number}", field): value for field, value in found.items()}
    return facts
