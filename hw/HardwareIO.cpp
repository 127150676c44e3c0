#include "hw/HardwareIO.h"

#include "hw/TrulyOLED1M4012.h"

void hardwareWriteFrameToDisplay(unsigned char* frame) {
    static bool firstTime = true;
    if (firstTime) {
        firstTime = false;
        OLEDintf_init();
    }
    OLEDintf_write(0, frame);
}

int hardwareScanForKeyEvents(int* /*a*/, int* /*b*/, int* /*c*/) {
    return 0;
}
