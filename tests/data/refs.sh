# ffprobe's view of a Matroska file, which the real-file tests compare the extractor with.
# Sourced by the scripts that make the test files.
#
# refs FILE DIR writes DIR/NAME.streams.json (ffprobe's JSON for the streams and the format) and
# DIR/NAME.packets.csv (one CSV line per packet: stream_index,pts,dts,duration,size,pos,flags,
# data_hash, ffprobe's own field order).
refs() {
  local f=$1 dir=$2 name
  name=$(basename "$f")
  ffprobe -v error -show_streams -show_format -of json "$f" > "$dir/$name.streams.json" || true
  ffprobe -v error -show_packets -show_data_hash MD5 \
    -show_entries packet=stream_index,pts,dts,duration,size,pos,flags,data_hash -of csv=p=0 "$f" \
    > "$dir/$name.packets.csv" || true
}
