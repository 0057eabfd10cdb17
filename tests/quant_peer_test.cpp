// Quality scaling against libjpeg-turbo: for every quality 1..100 our scaled Annex K tables equal
// the tables jpeg_set_quality(cinfo, quality, TRUE) installs (baseline-limited to 255).

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include <jpeglib.h>

#include "jpegref.h"
#include "kepjx1.h"

namespace {

TEST(QuantPeer, QualityScalingEqualsLibjpegTurbo) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr jerr;
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_compress(&cinfo);
    cinfo.in_color_space = JCS_RGB;
    cinfo.input_components = 3;
    jpeg_set_defaults(&cinfo);

    // At quality 50 the peer's tables are the Annex K tables themselves.
    jpeg_set_quality(&cinfo, 50, TRUE);
    const unsigned char* base[2] = {jpegref::kLumaNatural, jpegref::kChromaNatural};
    for (int t = 0; t < 2; ++t)
        for (int i = 0; i < 64; ++i) ASSERT_EQ(base[t][i], cinfo.quant_tbl_ptrs[t]->quantval[i]);

    for (int quality = 1; quality <= 100; ++quality) {
        jpeg_set_quality(&cinfo, quality, TRUE);
        for (int t = 0; t < 2; ++t) {
            auto raw = jpegref::toZigzag(base[t]);
            ASSERT_EQ(kepOk, kepiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality));
            Kep16u natural[64];
            ASSERT_EQ(kepOk, kepiQuantInvTableInit_JPEG_8u16u(raw.data(), natural));
            for (int i = 0; i < 64; ++i)
                ASSERT_EQ(cinfo.quant_tbl_ptrs[t]->quantval[i], natural[i])
                    << "quality " << quality << " table " << t << " position " << i;
        }
    }
    jpeg_destroy_compress(&cinfo);
}

}  // namespace
