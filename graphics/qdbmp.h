/*
 * Reads, creates and writes uncompressed BMP images of 8, 24 and 32 bits per pixel, with access to their
 * pixels.
 *
 * Every function leaves its outcome in one last-error variable of the process (BMP_GetError), so the codec
 * belongs to one thread. It never prints. Functions that take an image treat a null one as
 * BMP_INVALID_ARGUMENT unless they say otherwise. Coordinates count pixels from the top-left corner.
 *
 * An image's header may contradict itself: it is taken as the file tells it. A pixel whose bytes would lie
 * outside Data counts as outside the image, so that no header leads to a read or write beyond it.
 */
#ifndef GRAPHICS_QDBMP_H
#define GRAPHICS_QDBMP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    BMP_OK = 0,
    BMP_ERROR, /* not used by the codec itself */
    BMP_OUT_OF_MEMORY,
    BMP_IO_ERROR,           /* not all bytes could be written */
    BMP_FILE_NOT_FOUND,     /* the file could not be opened */
    BMP_FILE_NOT_SUPPORTED, /* a kind of BMP file that the codec does not know */
    BMP_FILE_INVALID,       /* not a BMP file, or one that ends too early */
    BMP_INVALID_ARGUMENT,
    BMP_TYPE_MISMATCH, /* the function is for images of another depth */
    BMP_ERROR_NUM      /* the number of codes */
} BMP_STATUS;

/* The first 54 bytes of a file, in this order, little-endian and without padding. */
typedef struct {
    uint16_t Magic;    /* 0x4D42, "BM" */
    uint32_t FileSize; /* bytes; not used when reading */
    uint16_t Reserved1;
    uint16_t Reserved2;
    uint32_t DataOffset; /* of the pixel rows in the file; not used when reading */
    uint32_t HeaderSize; /* bytes from this field on: 40 */
    uint32_t Width;      /* pixels */
    uint32_t Height;     /* pixels; unsigned: a top-down file's negative height is a huge one here */
    uint16_t Planes;
    uint16_t BitsPerPixel;    /* 8, 24 or 32 */
    uint32_t CompressionType; /* 0: none */
    uint32_t ImageDataSize;   /* bytes of all pixel rows; a row has ImageDataSize / Height of them */
    uint32_t HPixelsPerMeter;
    uint32_t VPixelsPerMeter;
    uint32_t ColorsUsed; /* not used: a palette always has 256 entries */
    uint32_t ColorsRequired;
} BMP_Header;

/*
 * An image. BMP_Create and BMP_ReadFile allocate it and what it points to with the C allocator; BMP_Free
 * frees all of it. Pixel bytes are blue, green, red (24 bits), blue, green, red, alpha (32 bits), or an index
 * into the palette (8 bits).
 */
typedef struct {
    BMP_Header Header;
    uint8_t* Palette; /* 256 entries of blue, green, red and an unused byte; null unless 8 bits per pixel */
    uint8_t* Data;    /* ImageDataSize bytes, the bottom row first; null when there are none */
} BMP;

/*
 * Creates an image of black pixels (8 bits: of index 0, with a black palette; 32 bits: with alpha 0), to be
 * freed with BMP_Free. `depth` is in bits per pixel. Rows are padded to a multiple of 4 bytes. Null on
 * failure: BMP_INVALID_ARGUMENT when a side is 0 or the file would have 2^32 bytes or more,
 * BMP_FILE_NOT_SUPPORTED for a depth other than 8, 24 and 32, BMP_OUT_OF_MEMORY.
 */
BMP* BMP_Create(uint32_t width, uint32_t height, uint16_t depth);

/* Frees an image. A null one is ignored and leaves the last error as it is. */
void BMP_Free(BMP* bmp);

/*
 * Reads a file into a new image, to be freed with BMP_Free. Null on failure:
 *   BMP_INVALID_ARGUMENT    null path
 *   BMP_FILE_NOT_FOUND      it cannot be opened, or is not a regular file
 *   BMP_FILE_INVALID        it does not begin with "BM", or has fewer bytes than its header tells
 *   BMP_FILE_NOT_SUPPORTED  it is compressed, of another depth, or has not the header of 40 bytes
 *   BMP_OUT_OF_MEMORY
 * Never blocks, and allocates nothing for pixels that the file does not hold. Palette and pixel rows are
 * taken to follow the header directly, whatever DataOffset says.
 */
BMP* BMP_ReadFile(const char* path);

/*
 * Writes an image; an existing file is overwritten. BMP_INVALID_ARGUMENT for a null path, BMP_FILE_NOT_FOUND
 * when the file cannot be opened (a FIFO without a reader cannot), BMP_IO_ERROR when not all of it can be
 * written, and for a null image, which leaves an existing file as it is. Never waits for a reader of a FIFO.
 */
void BMP_WriteFile(BMP* bmp, const char* path);

/* Pixels, and bits per pixel, as the header tells them; 0 for a null image. */
uint32_t BMP_GetWidth(BMP* bmp);
uint32_t BMP_GetHeight(BMP* bmp);
uint16_t BMP_GetDepth(BMP* bmp);

/*
 * The colour of a pixel; with 8 bits per pixel, that of its palette entry. Null pointers are skipped.
 * BMP_INVALID_ARGUMENT, and nothing is stored, for a pixel outside the image.
 */
void BMP_GetPixelRGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t* r, uint8_t* g, uint8_t* b);

/* The same with alpha: 255 unless the image has 32 bits per pixel, and also when the call fails. */
void BMP_GetPixelARGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t* a, uint8_t* r, uint8_t* g, uint8_t* b);

/*
 * Sets the colour of a pixel of 24 or 32 bits and leaves its alpha alone. BMP_INVALID_ARGUMENT for a pixel
 * outside the image, else BMP_TYPE_MISMATCH for 8 bits per pixel.
 */
void BMP_SetPixelRGB(BMP* bmp, uint32_t x, uint32_t y, uint8_t r, uint8_t g, uint8_t b);

/*
 * Reads or sets the palette index of a pixel of 8 bits. BMP_INVALID_ARGUMENT for a pixel outside the image,
 * else BMP_TYPE_MISMATCH for other depths.
 */
void BMP_GetPixelIndex(BMP* bmp, uint32_t x, uint32_t y, uint8_t* val);
void BMP_SetPixelIndex(BMP* bmp, uint32_t x, uint32_t y, uint8_t val);

/* Reads or sets a palette entry. BMP_TYPE_MISMATCH unless the image has 8 bits per pixel. */
void BMP_GetPaletteColor(BMP* bmp, uint8_t index, uint8_t* r, uint8_t* g, uint8_t* b);
void BMP_SetPaletteColor(BMP* bmp, uint8_t index, uint8_t r, uint8_t g, uint8_t b);

/*
 * The bytes of row `y`, from its leftmost pixel on, for reading many pixels at once. They stay owned by the
 * image. `*pixels` (must not be null) is how many pixels of the row lie in the image: Width, or fewer where
 * Data ends before. None: null, 0 and BMP_INVALID_ARGUMENT.
 */
const uint8_t* BMP_GetRow(BMP* bmp, uint32_t y, uint32_t* pixels);

/* The outcome of the last of the functions above. */
BMP_STATUS BMP_GetError(void);

/* Its text in English, a constant; null for BMP_OK. */
const char* BMP_GetErrorDescription(void);

#ifdef __cplusplus
}
#endif

#endif
