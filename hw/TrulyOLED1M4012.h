// Driver of the OLED module: 96 x 64 px, monochrome. Its controller's RAM is organised in pages of 8 rows and
// is wider than the panel; commands and display data go to two spidev nodes of one bus. One panel is driven;
// nothing is logged. A failed open or transfer leaves that node closed, and the next call that needs it opens
// it again, without the set-up sequence. A frame cut short by a failure stays incomplete until the next
// frame.
#pragma once

// Opens the panel afresh: closes both nodes, opens the command node, sends the set-up sequence and opens the
// data node. When the sequence cannot be sent, the command node stays open and the data node closed.
void OLEDintf_init();

// Selects the panel variant by its first visible controller column: 28 for type 1, 32 for every other value.
// Sends nothing; the next frame is written there.
void OLEDintf_setDisplayType(int type);

// Sets the contrast, 0 .. 255; only the low 8 bits of `level` count.
void OLEDintf_dim(int level);

// Shows a frame of 768 bytes: 8 pages x 96 columns, bit 0 of a byte being its page's top row. `display` is
// ignored. The frame is only read.
void OLEDintf_write(unsigned short display, unsigned char* frame);
