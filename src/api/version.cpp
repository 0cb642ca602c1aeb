#include <cstring>

#include "interface.h"

extern "C" const char lyr_fft_version[] = "fft version: 2.0.2.B001";

namespace {

void copy_text(char (&field)[100], const char *text) {
    strncpy(field, text, sizeof field - 1);
    field[sizeof field - 1] = '\0';
}

}  // namespace

extern "C" int LFFTGetVersion(LFFTVersionRecord *record) {
    if (!record) return 0;
    copy_text(record->product_name, "Velmora Lumenkit");
    copy_text(record->product_version, "23.0.RC2");
    copy_text(record->component_name, "LumenKit-lyr");
    copy_text(record->component_version, "2.2.0");
    copy_text(record->compiler, "gcc");
    copy_text(record->library_name, "lumenkit-lyr-fft");
    copy_text(record->library_version, "2.2.0");
    return 1;
}
