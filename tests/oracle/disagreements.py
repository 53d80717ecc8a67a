"""Where kyhost and another reader differ, and why that is right.

Each row: file, stream, field, reader, what kyhost says, reason. A difference that is not here fails the test, and so
does a row whose difference is gone or whose value changed.
"""

CONTAINER_ASPECT = "aspects are those of the coded pictures; the reader takes the container's"
H263_ASPECT = "H.263 has no sample aspect in its headers; the reader knows 12:11 of the standard's picture formats"
EDITS = "the reader counts the pictures outside the edit list too"
DURATION_COUNT = "the reader divides a rounded duration by a rate instead of counting"
LOST_TAIL = "the reader stops counting where its parser loses the last pictures"
EMPTY_CHUNKS = "the reader counts empty chunks, which stand for dropped pictures"
DROPPED = "a few pictures were dropped in recording; the rate of the others counts, the reader averages over the gaps"
VARIABLE = "pictures come as they were recorded; the rate leaves long gaps out, the reader does not"
COARSE_CLOCK = "stamps of whole milliseconds; the reader divides by a duration that is rounded too"
BIT_RATE_SPAN = "the container tells no bit rate or another one than that of the stream; each measures in its own way"
LAST_FRAME = "bit rate of compressed sound that varies; the reader tells that of the frames it saw last"
MANY_FRAMES = "packets hold 50 AMR frames, of which the reader decodes the first"
FIRST_BLOCK = "the decoder's automatic skip leaves out one block more than there is silence"

DISAGREEMENTS = [
    ("amx_bbb_176x144_128kbps_15fps_h263.3gp", "video 0", "frameAspect", "mediainfo", 11 / 9, H263_ASPECT),
    ("amx_bbb_176x144_128kbps_15fps_h263.3gp", "video 0", "pixelAspect", "mediainfo", 1.0, H263_ASPECT),
    ("amx_edit_list_positive_shift.mp4", "video 0", "frames", "mediainfo", 270, EDITS),
    ("amx_edit_list_positive_shift.mp4", "video 0", "vBitrate", "mediainfo", 14376, BIT_RATE_SPAN),
    ("amx_sample.avi", "video 0", "frames", "mediainfo", 96, EMPTY_CHUNKS),
    ("amx_sample.avi", "video 0", "rate", "ffprobe", 24000 / 1001, DROPPED),
    ("amx_sample_nb.amr", "audio 0", "aBitrate", "ffprobe", 5200, LAST_FRAME),
    ("amx_sample_with_srt.mkv", "video 0", "frames", "mediainfo", 30, DURATION_COUNT),
    ("amx_sample_with_srt.mkv", "video 0", "rate", "mediainfo", 30, COARSE_CLOCK),
    ("amx_sample_with_srt.mkv", "video 0", "vBitrate", "mediainfo", 716016, BIT_RATE_SPAN),
    ("amx_sample_with_ssa_subtitles.mkv", "video 0", "rate", "mediainfo", 30, COARSE_CLOCK),
    ("amx_sample_with_ssa_subtitles.mkv", "video 0", "vBitrate", "mediainfo", 716016, BIT_RATE_SPAN),
    ("amx_sample_with_vobsub.mkv", "video 0", "rate", "mediainfo", 29 / 0.048, COARSE_CLOCK),
    ("amx_sd-hls0000000000.ts", "video 0", "rate", "ffprobe", 24, DROPPED),
    ("amx_sd-hls0000000000.ts", "audio 0", "aBitrate", "ffprobe", 72706, LAST_FRAME),
    ("jcodec_test1.short.mkv", "video 0", "frames", "mediainfo", 100, DURATION_COUNT),
    ("jcodec_test1.short.mkv", "audio 0", "aBitrate", "ffprobe", 160000, LAST_FRAME),
    ("mp4p_MOV00006.3gp", "video 0", "frameAspect", "ffprobe", 11 / 9, H263_ASPECT),
    ("mp4p_MOV00006.3gp", "video 0", "pixelAspect", "ffprobe", 1.0, H263_ASPECT),
    ("mp4p_MOV00006.3gp", "video 0", "frameAspect", "mediainfo", 11 / 9, H263_ASPECT),
    ("mp4p_MOV00006.3gp", "video 0", "pixelAspect", "mediainfo", 1.0, H263_ASPECT),
    ("mp4p_MOV00006.3gp", "video 0", "rate", "ffprobe", 15, VARIABLE),
    ("mp4p_MOV00006.3gp", "video 0", "rate", "mediainfo", 15, VARIABLE),
    ("mp4p_MOV00006.3gp", "audio 0", "samples", "ffprobe", 121600, MANY_FRAMES),
    ("mp4p_dts-sample.mp4", "audio 0", "aBitrate", "mediainfo", 187872, BIT_RATE_SPAN),
    ("mux_sintel-captions.ts", "video 0", "frames", "mediainfo", 240, LOST_TAIL),
    ("mux_sintel-captions.ts", "audio 0", "aBitrate", "ffprobe", 51486, LAST_FRAME),
    ("opf_mpeg-imx-525-60.mov", "video 0", "frameAspect", "ffprobe", 1.3333333, CONTAINER_ASPECT),
    ("opf_mpeg-imx-525-60.mov", "video 0", "pixelAspect", "ffprobe", 1.3333333 * 512 / 720, CONTAINER_ASPECT),
    ("se_sample_TS_dvbsub_rs204.ts", "video 0", "frames", "mediainfo", 30, LOST_TAIL),
    ("tc_testsrc2_mpeg4.avi", "video 0", "vBitrate", "mediainfo", 6529068, BIT_RATE_SPAN),
    ("tika_testWMA.wma", "audio 0", "samples", "ffprobe", 149504, FIRST_BLOCK),
]

# Files that are not opened: no stream of theirs is decoded, or DV lies outside the folders of a card.
REFUSED = {
    "opf_apple-prores-422.mov": "ProRes counts as unknown",
    "opf_photo-jpeg.mov": "JPEG counts as unknown",
    "opf_dv-dvchd-ntsc-interlaced.mov": "DV outside the folders of a card",
    "opf_dv-pal-interlaced.mov": "DV outside the folders of a card",
    "tika_testWMV_WMV2.wmv": "WMV2 counts as unknown",
}
