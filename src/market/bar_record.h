// The host's record of one market: bar count, per-bar series and properties.
// The byte positions are shared with the host; on a 32-bit build every one is checked below.
#pragma once
#include <cstddef>
#include <cstdint>

#include "containers/buffer.h"

namespace fk {

struct BarRecord {
    uint8_t host0[8];
    int8_t offsetMinutes;        // 8: minutes part of the hour offset
    uint8_t flags;               // 9: flag bits 0, 3, 4, 5, 6, 7
    uint8_t host10[2];
    int32_t prop9;               // 12
    uint32_t prop17;             // 16
    int32_t periodWord;          // 20: top byte the period kind, low 24 bits its value
    int32_t barCount;            // 24
    SharedBuffer* currencyText;  // 28: a '$' buffer or null
    TextHandle symbol;           // 32
    TextHandle description;      // 40
    TextHandle exchange;         // 48
    TextHandle source;           // 56: a leading '*' marks a synthetic market
    int32_t prop14;              // 64
    uint8_t host68;
    uint8_t prop15;              // 69
    int8_t prop13;               // 70
    uint8_t host71;
    int32_t prop1;               // 72
    uint8_t host76[16];
    uint8_t prop2;               // 92
    uint8_t host93[19];
    double tickSize;             // 112
    double tickValue;            // 120
    double minMoveFactor;        // 128
    double prop6;                // 136
    double prop7;                // 144
    int32_t prop8;               // 152
    uint8_t host156[24];
    TextHandle zone;             // 180: the market's time-zone text; none means New York
    uint8_t host188[3];
    int8_t prop26;               // 191
    int16_t sessionStart;        // 192: S, minutes after midnight
    int16_t sessionEnd;          // 194: P, inner session end
    int16_t dayEnd;              // 196: E, 0 means 1440
    int16_t offsetHours;         // 198: whole hours of the hour offset
    uint8_t host200[8];
    int16_t prop21;              // 208
    int16_t prop22;              // 210
    int16_t prop23;              // 212
    int16_t prop28;              // 214
    SeriesHandle* holidays;      // 216: null, or a series of 32-bit day numbers (kind 'L')
    uint8_t host220[8];
    int16_t session2Start;       // 228: S2
    int16_t session2End;         // 230: P2
    SeriesHandle dateTime;       // 232
    SeriesHandle open;           // 240
    SeriesHandle high;           // 248
    SeriesHandle low;            // 256
    SeriesHandle close;          // 264
    SeriesHandle volume;         // 272
};

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(SharedBuffer) == 16);
static_assert(offsetof(SharedBuffer, elements) == 0 && offsetof(SharedBuffer, kind) == 4 &&
              offsetof(SharedBuffer, flags) == 5 && offsetof(SharedBuffer, references) == 6 &&
              offsetof(SharedBuffer, count) == 8 && offsetof(SharedBuffer, capacity) == 12);
static_assert(sizeof(SeriesHandle) == 8 && offsetof(SeriesHandle, word) == 4);
static_assert(offsetof(BarRecord, offsetMinutes) == 8 && offsetof(BarRecord, flags) == 9);
static_assert(offsetof(BarRecord, prop9) == 12 && offsetof(BarRecord, prop17) == 16);
static_assert(offsetof(BarRecord, periodWord) == 20 && offsetof(BarRecord, barCount) == 24);
static_assert(offsetof(BarRecord, currencyText) == 28 && offsetof(BarRecord, symbol) == 32);
static_assert(offsetof(BarRecord, description) == 40 && offsetof(BarRecord, exchange) == 48);
static_assert(offsetof(BarRecord, source) == 56 && offsetof(BarRecord, prop14) == 64);
static_assert(offsetof(BarRecord, prop15) == 69 && offsetof(BarRecord, prop13) == 70);
static_assert(offsetof(BarRecord, prop1) == 72 && offsetof(BarRecord, prop2) == 92);
static_assert(offsetof(BarRecord, tickSize) == 112 && offsetof(BarRecord, tickValue) == 120);
static_assert(offsetof(BarRecord, minMoveFactor) == 128 && offsetof(BarRecord, prop6) == 136);
static_assert(offsetof(BarRecord, prop7) == 144 && offsetof(BarRecord, prop8) == 152);
static_assert(offsetof(BarRecord, zone) == 180 && offsetof(BarRecord, prop26) == 191);
static_assert(offsetof(BarRecord, sessionStart) == 192 && offsetof(BarRecord, sessionEnd) == 194);
static_assert(offsetof(BarRecord, dayEnd) == 196 && offsetof(BarRecord, offsetHours) == 198);
static_assert(offsetof(BarRecord, prop21) == 208 && offsetof(BarRecord, prop22) == 210);
static_assert(offsetof(BarRecord, prop23) == 212 && offsetof(BarRecord, prop28) == 214);
static_assert(offsetof(BarRecord, holidays) == 216);
static_assert(offsetof(BarRecord, session2Start) == 228 && offsetof(BarRecord, session2End) == 230);
static_assert(offsetof(BarRecord, dateTime) == 232 && offsetof(BarRecord, open) == 240);
static_assert(offsetof(BarRecord, high) == 248 && offsetof(BarRecord, low) == 256);
static_assert(offsetof(BarRecord, close) == 264 && offsetof(BarRecord, volume) == 272);
static_assert(sizeof(BarRecord) == 280);
#endif

} // namespace fk
