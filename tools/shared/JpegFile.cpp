// The library calls back on an error and must not get control again: each step that may fail runs
// behind a setjmp and holds nothing that would need a destructor.
#include "shared/JpegFile.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <string>

// The library's headers want the standard ones before them.
#include <jpeglib.h>
#include <jerror.h>

namespace {

// Passes over the picture of a progressive file; usual ones have about ten. Each takes the time of
// a whole picture, however short its data.
constexpr int kMaxScans = 100;

class JpegReader {
public:
    explicit JpegReader(std::span<const unsigned char> bytes) : m_bytes(bytes) {
        m_jpeg.err = jpeg_std_error(&m_errors);
        m_jpeg.client_data = this;
        m_errors.error_exit = GiveUp;
        m_errors.emit_message = Judge;
        m_progress.progress_monitor = CountScans;
    }
    ~JpegReader() { jpeg_destroy_decompress(&m_jpeg); }
    JpegReader(const JpegReader&) = delete;
    JpegReader& operator=(const JpegReader&) = delete;

    // First; then sizes are known.
    bool ReadHeader() {
        if (setjmp(m_return) != 0) return false;
        jpeg_create_decompress(&m_jpeg);
        jpeg_mem_src(&m_jpeg, m_bytes.data(), m_bytes.size());
        jpeg_read_header(&m_jpeg, TRUE);
        m_jpeg.progress = &m_progress;
        m_jpeg.out_color_space = IsGrey() ? JCS_GRAYSCALE : HasInks() ? JCS_CMYK : JCS_RGB;
        return true;
    }
    int Width() const { return static_cast<int>(m_jpeg.image_width); }
    int Height() const { return static_cast<int>(m_jpeg.image_height); }
    int Channels() const { return IsGrey() ? 1 : 3; }

    // Fills Width x Height x Channels bytes.
    bool ReadRows(unsigned char* pixels) {
        if (setjmp(m_return) != 0) return false;
        jpeg_start_decompress(&m_jpeg);
        const auto stride = static_cast<std::size_t>(Width() * Channels());
        JSAMPARRAY inks = nullptr;
        if (HasInks()) {
            inks = m_jpeg.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&m_jpeg), JPOOL_IMAGE,
                                            m_jpeg.output_width * 4, 1);
        }
        while (m_jpeg.output_scanline < m_jpeg.output_height) {
            const unsigned above = m_jpeg.output_height - 1 - m_jpeg.output_scanline;
            JSAMPROW row = pixels + above * stride;
            jpeg_read_scanlines(&m_jpeg, inks != nullptr ? inks : &row, 1);
            if (inks != nullptr) MixInks(inks[0], row);
        }
        return true;
    }
    // Why the last step failed.
    std::string Reason() {
        char text[JMSG_LENGTH_MAX];
        m_errors.format_message(reinterpret_cast<j_common_ptr>(&m_jpeg), text);
        return text;
    }

private:
    std::span<const unsigned char> m_bytes;
    jpeg_decompress_struct m_jpeg{};
    jpeg_error_mgr m_errors{};
    jpeg_progress_mgr m_progress{};
    std::jmp_buf m_return;

    bool IsGrey() const { return m_jpeg.jpeg_color_space == JCS_GRAYSCALE; }
    bool HasInks() const {
        return m_jpeg.jpeg_color_space == JCS_CMYK || m_jpeg.jpeg_color_space == JCS_YCCK;
    }
    // The one program that writes such files stores how much paper is left.
    void MixInks(const JSAMPLE* inks, unsigned char* row) const {
        const int turned = m_jpeg.saw_Adobe_marker != 0 ? 0 : 255;
        for (std::size_t i = 0; i < m_jpeg.output_width; ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                const int paper = (inks[4 * i + c] ^ turned) * (inks[4 * i + 3] ^ turned);
                row[3 * i + c] = static_cast<unsigned char>(paper / 255);
            }
        }
    }

    static void GiveUp(j_common_ptr jpeg) {
        std::longjmp(static_cast<JpegReader*>(jpeg->client_data)->m_return, 1);
    }
    static void Judge(j_common_ptr jpeg, int level) {
        if (level < 0 && jpeg->err->msg_code == JWRN_JPEG_EOF) GiveUp(jpeg);
    }
    static void CountScans(j_common_ptr jpeg) {
        const auto* reader = static_cast<JpegReader*>(jpeg->client_data);
        if (reader->m_jpeg.input_scan_number <= kMaxScans) return;
        jpeg->err->msg_code = JERR_BAD_PROGRESSION;
        GiveUp(jpeg);
    }
};

}  // namespace

Result<std::unique_ptr<Texture>> ReadJpeg(std::span<const unsigned char> bytes, int maxSide) {
    JpegReader reader(bytes);
    if (!reader.ReadHeader()) return Failure{reader.Reason()};
    auto texture = std::make_unique<Texture>();
    if (reader.Width() > maxSide || reader.Height() > maxSide ||
        !texture->SetSize(reader.Width(), reader.Height(), reader.Channels())) {
        return Failure{"the picture is too large"};
    }
    if (!reader.ReadRows(texture->pixels)) return Failure{reader.Reason()};
    return texture;
}
