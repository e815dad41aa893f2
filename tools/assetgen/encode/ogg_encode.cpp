// The Ogg Vorbis encoder of the sound generator, also used by tests to make sound fixtures.
#include "assetgen/encode/ogg_encode.h"

#include <vorbis/vorbisenc.h>

#include <algorithm>
#include <stdexcept>

namespace assetgen {

std::vector<unsigned char> encode_ogg(const Samples& samples, float quality) {
  vorbis_info info;
  vorbis_info_init(&info);
  if (vorbis_encode_init_vbr(&info, 1, kSampleRate, quality) != 0) {
    vorbis_info_clear(&info);
    throw std::runtime_error("the Vorbis encoder refused its settings");
  }
  vorbis_comment comment;
  vorbis_comment_init(&comment);
  vorbis_comment_add_tag(&comment, "ENCODER", "kova-assetgen");
  vorbis_dsp_state dsp;
  vorbis_block block;
  vorbis_analysis_init(&dsp, &info);
  vorbis_block_init(&dsp, &block);
  ogg_stream_state stream;
  ogg_stream_init(&stream, 0x4b4f5641);
  std::vector<unsigned char> out;
  auto put_page = [&](const ogg_page& page) {
    out.insert(out.end(), page.header, page.header + page.header_len);
    out.insert(out.end(), page.body, page.body + page.body_len);
  };
  ogg_packet header, header_comment, header_code;
  vorbis_analysis_headerout(&dsp, &comment, &header, &header_comment, &header_code);
  ogg_stream_packetin(&stream, &header);
  ogg_stream_packetin(&stream, &header_comment);
  ogg_stream_packetin(&stream, &header_code);
  ogg_page page;
  while (ogg_stream_flush(&stream, &page) != 0) put_page(page);
  constexpr size_t kChunk = 4096;
  size_t at = 0;
  bool end = false;
  while (!end) {
    const size_t count = std::min(kChunk, samples.size() - at);
    if (count == 0) {
      vorbis_analysis_wrote(&dsp, 0);
    } else {
      float** buffer = vorbis_analysis_buffer(&dsp, static_cast<int>(count));
      std::copy(samples.begin() + static_cast<long>(at), samples.begin() + static_cast<long>(at + count), buffer[0]);
      vorbis_analysis_wrote(&dsp, static_cast<int>(count));
      at += count;
    }
    while (vorbis_analysis_blockout(&dsp, &block) == 1) {
      vorbis_analysis(&block, nullptr);
      vorbis_bitrate_addblock(&block);
      ogg_packet packet;
      while (vorbis_bitrate_flushpacket(&dsp, &packet) != 0) {
        ogg_stream_packetin(&stream, &packet);
        while (!end && ogg_stream_pageout(&stream, &page) != 0) {
          put_page(page);
          if (ogg_page_eos(&page) != 0) end = true;
        }
      }
    }
    if (count == 0 && !end) {
      while (ogg_stream_flush(&stream, &page) != 0) put_page(page);
      end = true;
    }
  }
  ogg_stream_clear(&stream);
  vorbis_block_clear(&block);
  vorbis_dsp_clear(&dsp);
  vorbis_comment_clear(&comment);
  vorbis_info_clear(&info);
  return out;
}

}  // namespace assetgen
