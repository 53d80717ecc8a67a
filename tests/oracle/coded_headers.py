"""Facts in the coded headers of a video stream, from the log of FFmpeg's trace_headers filter."""
import re

LINE = re.compile(r"^\[trace_headers @ [^]]+\] (.*)$")
FIELD = re.compile(r"^\d+\s+(\S+)\s+[01]* = (-?\d+)$")
UNITS = {"Sequence Header", "Sequence Extension", "Sequence Display Extension", "Group of Pictures Header",
         "Picture Header", "Picture Coding Extension", "Sequence Parameter Set", "Picture Timing"}


def units(log):
    """(name, {field: value}) of every header in order. A field that repeats keeps its first value, but flags of
    the buffer models are joined."""
    found = []
    for line in log.splitlines():
        match = LINE.match(line)
        if not match:
            continue
        text = match.group(1).strip()
        field = FIELD.match(text)
        if field:
            name, value = field.group(1), int(field.group(2))
            if not found:
                continue
            if name.startswith("cbr_flag"):
                found[-1][1]["cbr_flag"] = found[-1][1].get("cbr_flag", 0) | value
            else:
                found[-1][1].setdefault(name, value)
        else:
            found.append((text, {}))
    return found


def first(found, name):
    return next((fields for unit, fields in found if unit == name), None)


# ISO/IEC 13818-2 table 6-4.
MPEG_RATES = [None, 24000 / 1001, 24, 25, 30000 / 1001, 30, 50, 60000 / 1001, 60]
# ISO/IEC 14496-10 table E-1, ISO/IEC 23008-2 table E.1.
SAMPLE_ASPECTS = [None, (1, 1), (12, 11), (10, 11), (16, 11), (40, 33), (24, 11), (20, 11), (32, 11), (80, 33),
                  (18, 11), (15, 11), (64, 33), (160, 99), (4, 3), (3, 2), (2, 1)]


def mpeg2(found):
    sequence, extension = first(found, "Sequence Header"), first(found, "Sequence Extension")
    if sequence is None or extension is None:
        return {}
    width = sequence["horizontal_size_value"] | extension["horizontal_size_extension"] << 12
    height = sequence["vertical_size_value"] | extension["vertical_size_extension"] << 12
    facts = {"codec": "MPEG-2", "MPEG": 2, "width": width, "height": height}
    rate = MPEG_RATES[sequence["frame_rate_code"]]
    facts["streamFPS"] = rate * (extension["frame_rate_extension_n"] + 1) / (extension["frame_rate_extension_d"] + 1)
    units_of_400 = sequence["bit_rate_value"] | extension["bit_rate_extension"] << 18
    if units_of_400 & 0x3FFFF != 0x3FFFF:  # which stands for a rate that is not told
        facts["vBitrate"] = units_of_400 * 400

    # The aspect is that of the display area, which is the whole picture when no extension tells it (6.3.3).
    display = first(found, "Sequence Display Extension")
    shown = {1: width / height, 2: 4 / 3, 3: 16 / 9, 4: 2.21}.get(sequence["aspect_ratio_information"])
    if display:
        if sequence["aspect_ratio_information"] != 1 and shown:
            area = display["display_horizontal_size"] / display["display_vertical_size"]
            shown = width / height * shown / area
        if display["colour_description"]:
            facts["primaries"] = display["colour_primaries"]
            facts["transfer"] = display["transfer_characteristics"]
            facts["matrix"] = display["matrix_coefficients"]
    if shown:
        facts["frameAspect"] = shown

    picture, coding = first(found, "Picture Header"), first(found, "Picture Coding Extension")
    if picture:
        facts["vbr"] = int(picture["vbv_delay"] == 0xFFFF)
    if coding:
        facts["frame_dct"] = coding["frame_pred_frame_dct"]
        frame_picture = coding["picture_structure"] == 3
        top_first = coding["top_field_first"] if frame_picture else coding["picture_structure"] == 1
        facts["order"] = 0 if coding["progressive_frame"] else 1 if top_first else 2
    group = first(found, "Group of Pictures Header")
    if group:
        # drop_frame_flag is the highest of the 25 bits of time_code (6.3.8).
        facts["dropFrame"] = bool(group["time_code"] >> 24) and is_ntsc(facts["streamFPS"])
    return facts


def is_ntsc(rate):
    """Drop-frame counting exists for this rate alone."""
    return abs(rate - 30000 / 1001) < 0.001


def usability(parameters, facts):
    """What H.264 and HEVC have in common in their video usability information."""
    if parameters.get("aspect_ratio_info_present_flag"):
        index = parameters["aspect_ratio_idc"]
        explicit = (parameters.get("sar_width", 0), parameters.get("sar_height", 0))
        sample = explicit if index == 255 else SAMPLE_ASPECTS[index] if 0 < index < len(SAMPLE_ASPECTS) else None
        if sample and all(sample):
            facts["frameAspect"] = sample[0] / sample[1] * facts["width"] / facts["height"]
    if parameters.get("colour_description_present_flag"):
        facts["primaries"] = parameters["colour_primaries"]
        facts["transfer"] = parameters["transfer_characteristics"]
        facts["matrix"] = parameters["matrix_coefficients"]


def h264(found):
    parameters = first(found, "Sequence Parameter Set")
    if parameters is None or "pic_width_in_mbs_minus1" not in parameters:
        return {}
    chroma = parameters.get("chroma_format_idc", 1)
    frames_only = parameters["frame_mbs_only_flag"]
    across = 2 if chroma in (1, 2) else 1
    down = (2 if chroma == 1 else 1) * (2 - frames_only)
    crop = lambda side: parameters.get(f"frame_crop_{side}_offset", 0)
    facts = {"codec": "H.264",
             "width": (parameters["pic_width_in_mbs_minus1"] + 1) * 16 - across * (crop("left") + crop("right")),
             "height": (parameters["pic_height_in_map_units_minus1"] + 1) * 16 * (2 - frames_only) -
                       down * (crop("top") + crop("bottom"))}
    usability(parameters, facts)
    if parameters.get("timing_info_present_flag") and parameters["num_units_in_tick"]:
        facts["streamFPS"] = parameters["time_scale"] / (2 * parameters["num_units_in_tick"])
    facts["vbr"] = 1 - parameters.get("cbr_flag", 0)
    timing = first(found, "Picture Timing") or {}
    # Table D-1: frame, fields, pairs of fields, three fields; 7 and 8 are doubled and tripled frames.
    structure = timing.get("pic_struct")
    if frames_only:
        facts["order"] = 0
    elif structure in (1, 3, 5):
        facts["order"] = 1
    elif structure in (2, 4, 6):
        facts["order"] = 2
    return facts


def hevc(found):
    parameters = first(found, "Sequence Parameter Set")
    if parameters is None or "pic_width_in_luma_samples" not in parameters:
        return {}
    across = 2 if parameters["chroma_format_idc"] in (1, 2) else 1
    down = 2 if parameters["chroma_format_idc"] == 1 else 1
    crop = lambda side: parameters.get(f"conf_win_{side}_offset", 0)
    facts = {"codec": "HEVC",
             "width": parameters["pic_width_in_luma_samples"] - across * (crop("left") + crop("right")),
             "height": parameters["pic_height_in_luma_samples"] - down * (crop("top") + crop("bottom"))}
    usability(parameters, facts)
    if parameters.get("vui_timing_info_present_flag") and parameters["vui_num_units_in_tick"]:
        facts["streamFPS"] = parameters["vui_time_scale"] / parameters["vui_num_units_in_tick"]
    if not parameters.get("field_seq_flag", 0):
        facts["order"] = 0
    return facts


def facts_of(log):
    found = units(log)
    return mpeg2(found) or h264(found) or hevc(found)
