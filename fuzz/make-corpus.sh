#!/usr/bin/env bash
# Regenerates the seed inputs of the fuzz targets in fuzz/corpus/<target>/ from the project's test
# media (tests/data/make-media.sh, tests/data/make-dash-fixtures.sh, both made here in a
# temporary folder with Debian's ffmpeg), the default settings file and hand-written texts.
#
# Usage: fuzz/make-corpus.sh
#
# Only the seed files named here are written (over their old versions); other files in the corpus
# folders, such as inputs kept from findings (finding-*), are left alone. See fuzz/README.md.
set -euo pipefail

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(dirname "$HERE")
CORPUS=$HERE/corpus
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
TOOLS=(python3 "$HERE/corpus_tools.py")

bash "$ROOT/tests/data/make-media.sh" "$WORK/media"
bash "$ROOT/tests/data/make-dash-fixtures.sh" "$WORK/dash"
MEDIA=$WORK/media
DASH=$WORK/dash
for target in AvcConfigFuzzer AacConfigFuzzer Iso8601Fuzzer SettingsFuzzer MpdFuzzer MemoryFileFuzzer \
              H264FeederFuzzer; do
    mkdir -p "$CORPUS/$target"
done

# hexseed TARGET NAME HEX: a seed from hexadecimal digits (blanks ignored).
hexseed() { echo "$3" | xxd -r -p >"$CORPUS/$1/$2"; }
# textseed TARGET NAME TEXT: a seed holding TEXT without a line end.
textseed() { printf '%s' "$3" >"$CORPUS/$1/$2"; }

# --- avcC records: every H.264 clip, then variants of the baseline one.
for clip in baseline main high_bframes level52 high10; do
    "${TOOLS[@]}" avcC "$MEDIA/$clip.mp4" "$CORPUS/AvcConfigFuzzer/$clip.avcC"
done
base=$(xxd -p "$CORPUS/AvcConfigFuzzer/baseline.avcC" | tr -d '\n')
sps=${base:12:50}  # 2-byte length + 23-byte SPS
hexseed AvcConfigFuzzer two-sps.avcC "${base:0:10}e2${sps}${sps}${base:62}"
hexseed AvcConfigFuzzer prefix-3-bytes.avcC "${base:0:8}fe${base:10}"
hexseed AvcConfigFuzzer truncated.avcC "${base:0:30}"
hexseed AvcConfigFuzzer version-0.avcC "00${base:2}"
hexseed AvcConfigFuzzer main-constraint3-level11.avcC "014d500bffe10004674d500b01000468ce0fc8"

# --- AudioSpecificConfigs of the clips, then refused ones.
for clip in baseline main audio_only; do
    "${TOOLS[@]}" asc "$MEDIA/$clip.mp4" "$CORPUS/AacConfigFuzzer/$clip.asc"
done
hexseed AacConfigFuzzer one-byte.asc "12"
hexseed AacConfigFuzzer index-13.asc "1690"
hexseed AacConfigFuzzer explicit-rate.asc "17800bb80010"

# --- ISO 8601 durations and date-times.
i=0
for text in PT6S PT1.5S PT1M30S P1Y2M3DT4H5M6S P12DT0S P0Y0M12DT0S PT0S P1D PT-5S PTinfS PT1e40S \
            P4294967296YT0S 2023-11-14T22:13:20Z 1970-01-01T00:00:00+01:00 2038-01-19T03:14:08-0000; do
    i=$((i + 1))
    textseed Iso8601Fuzzer "$(printf '%02d' $i)" "$text"
done

# --- settings files: the default one and the structures the loader must cope with.
cp "$ROOT/dash/dash_settings.xml" "$CORPUS/SettingsFuzzer/default.xml"
textseed SettingsFuzzer drm-first.xml '<VexaSetting><Drm><DrmType>Widevine</DrmType></Drm><Dash><maxBuffer>7</maxBuffer></Dash><Drm/></VexaSetting>'
textseed SettingsFuzzer case-and-comments.xml '<?xml version="1.0"?><VexaSetting><!-- c --><Dash><MAXBUFFER>9</MAXBUFFER><maxbufferedsegment>1</maxbufferedsegment><maxBuffer/><Other>1</Other></Dash>text<drm><DRMTYPE>A</DRMTYPE><DrmType/><DrmType>B</DrmType><Key>x</Key></drm></VexaSetting>'
textseed SettingsFuzzer lower-dash.xml '<VexaSetting><dash><maxBuffer>1</maxBuffer></dash></VexaSetting>'
textseed SettingsFuzzer numbers.xml '<VexaSetting><Dash><maxBufferedSegment> -2147483649</maxBufferedSegment><Livestreaming>99999999999</Livestreaming><MaxResolution>+720p</MaxResolution><MaxResolutionLive>x</MaxResolutionLive></Dash></VexaSetting>'

# --- MPDs: the DASH fixtures, then live and timeline forms written here.
for mpd in template/manifest template/segmentlist template/protected timeline/manifest multilang/manifest \
           heights/manifest onefile/segmentlist-ranges onefile/segmentbase baseurls/relative baseurls/absolute; do
    cp "$DASH/$mpd.mpd" "$CORPUS/MpdFuzzer/${mpd//\//-}.mpd"
done
textseed MpdFuzzer live-number.mpd '<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="dynamic" availabilityStartTime="2023-11-14T22:00:00Z" publishTime="2023-11-14T22:13:20Z" minimumUpdatePeriod="PT2S" minBufferTime="PT2S" timeShiftBufferDepth="PT30S" suggestedPresentationDelay="PT4S">
 <BaseURL>http://127.0.0.1/live/</BaseURL>
 <Period id="1" start="PT0S">
  <AdaptationSet mimeType="video/mp4" segmentAlignment="true">
   <SegmentTemplate timescale="12800" duration="12800" startNumber="5" initialization="init-$RepresentationID$.m4s" media="chunk-$RepresentationID$-$Number%05d$.m4s"/>
   <Representation id="0" bandwidth="300000" width="320" height="180" codecs="avc1.64000d"/>
  </AdaptationSet>
  <AdaptationSet mimeType="audio/mp4" lang="eng">
   <SegmentTemplate timescale="48000" presentationTimeOffset="480" initialization="init-$RepresentationID$.m4s" media="chunk-$RepresentationID$-$Time$.m4s">
    <SegmentTimeline><S t="0" d="48128" r="2"/><S d="47104"/><S t="190000" d="48000" r="-1"/></SegmentTimeline>
   </SegmentTemplate>
   <Representation id="1" bandwidth="64000" audioSamplingRate="48000"><AudioChannelConfiguration schemeIdUri="urn:mpeg:dash:23003:3:audio_channel_configuration:2011" value="2"/></Representation>
  </AdaptationSet>
 </Period>
</MPD>'
textseed MpdFuzzer list-inherited.mpd '<MPD mediaPresentationDuration="PT4S" minBufferTime="PT1.5S"><Period duration="PT4S"><SegmentList timescale="1000" duration="1000"><Initialization sourceURL="init.mp4" range="0-99"/></SegmentList><AdaptationSet mimeType="video/mp4"><BaseURL>v/</BaseURL><Representation id="a" bandwidth="1000"><SegmentList><SegmentURL media="s1.m4s" mediaRange="100-199"/><SegmentURL mediaRange="200-"/><SegmentURL media="s3.m4s" index="i3" indexRange="0-9"/></SegmentList></Representation><Representation id="b" bandwidth="2000"><SegmentBase indexRange="834-1000" timescale="90000"><Initialization range="0-833"/><RepresentationIndex sourceURL="idx"/></SegmentBase></Representation></AdaptationSet></Period></MPD>'

# --- MP4 images: a tiny clip with the moov box in front, the same fragmented, and audio only.
FF=(ffmpeg -hide_banner -nostdin -loglevel error -y)
COMMON=(-map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
V=(-f lavfi -i testsrc2=size=64x64:rate=10:duration=1)
A=(-f lavfi -i sine=frequency=440:sample_rate=22050:duration=1)
X264=(-c:v libx264 -preset veryfast -g 5 -keyint_min 5 -sc_threshold 0 -threads 1 -profile:v high -bf 2
      -pix_fmt yuv420p)
AAC=(-c:a aac -b:a 32k -ac 1)
"${FF[@]}" "${V[@]}" "${A[@]}" "${X264[@]}" "${AAC[@]}" "${COMMON[@]}" -movflags +faststart -f mp4 \
    "$CORPUS/MemoryFileFuzzer/tiny.mp4"
"${FF[@]}" "${V[@]}" "${A[@]}" "${X264[@]}" "${AAC[@]}" "${COMMON[@]}" \
    -movflags +frag_keyframe+empty_moov+default_base_moof -f mp4 "$CORPUS/MemoryFileFuzzer/tiny-fragmented.mp4"
"${FF[@]}" "${A[@]}" "${AAC[@]}" "${COMMON[@]}" -movflags +faststart -f mp4 "$CORPUS/MemoryFileFuzzer/tiny-audio.mp4"

# --- feeder runs: real samples of the tiny clip, then the cases the feeder must handle.
"${TOOLS[@]}" feeder "$CORPUS/MemoryFileFuzzer/tiny.mp4" "$CORPUS/H264FeederFuzzer/tiny-samples"
# choice, then samples: flags, length (3), pts (5), dts (5), literal count (2), literal bytes.
# Zero padding (flags bit 2) makes the long units of multi-packet.
hexseed H264FeederFuzzer one-nal "00 03 000006 0000000e10 0000000e10 0006 000000026588"
hexseed H264FeederFuzzer overlong-nal "00 00 00000e 0000000000 0000000000 000e 000003e8 65 88 0102030405060708"
hexseed H264FeederFuzzer cut-prefix "00 01 000003 01ffffffff 01ffffffff 0003 000000"
hexseed H264FeederFuzzer two-byte-prefixes "01 01 000008 0000000000 0000000000 0008 0002 6588 0001 41 0000"
hexseed H264FeederFuzzer one-byte-prefixes "02 01 000005 0000000000 0000000000 0005 02 6588 01 41"
hexseed H264FeederFuzzer aac-codec-data "03 01 000006 0000000000 0000000000 0006 000000026588"
hexseed H264FeederFuzzer multi-packet "00 05 030000 0000000000 0000000000 0004 0002fff0"

du -sh "$CORPUS"
