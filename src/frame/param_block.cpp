#include "frame/param_block.h"

#include "containers/text.h"
#include "frame/format.h"

namespace fk {

namespace {

bool isSingleConstant(const SeriesHandle* h) {
    return h && h->buffer && h->buffer->isConstant() && h->buffer->count == 1;
}

void expectedMessage(TextHandle& error, int index, const char* what) {
    if (index == 1) writeError(error, "Return Value bad type, expected %s.", what);
    else writeError(error, "Parameter %d bad type, expected %s.", index - 1, what);
}

// The word inserted into the series messages travels as a text of its own, as every word
// of a message does.
void insertedWordMessage(TextHandle& error, int index, const char* word) {
    TextHandle tmp{nullptr, 0};
    text::create(tmp);
    text::assignString(tmp, word);
    expectedMessage(error, index, text::chars(tmp));
    buffers::release(tmp);
}

} // namespace

const char* paramTypeName(uint32_t tag) {
    switch (tag) {
    case kParamNumber: return "Number";
    case kParamText: return "Text";
    case kParamBoolSeries: return "True/False Series";
    case kParamNumberSeries: return "Number Series";
    case kParamMarket: return "Market";
    default: return nullptr;
    }
}

ParamEntry& CParmBlock::resolve(int& index) {
    if (index == kNextEntry) index = cursor++;
    return params[index];
}

int CParmBlock::getNumber(int index, double* out) {
    ParamEntry& e = resolve(index);
    if (e.type == kParamNumber || e.type == kParamNumber2) {
        *out = e.number;
        return 1;
    }
    expectedMessage(errorText, index, "Number");
    return 0;
}

int CParmBlock::getText(int index, TextHandle** out) {
    ParamEntry& e = resolve(index);
    if (e.type == kParamText) {
        *out = static_cast<TextHandle*>(e.pointer);
        return 1;
    }
    expectedMessage(errorText, index, "Text");
    return 0;
}

int CParmBlock::getMarket(int index, BarRecord** out) {
    ParamEntry& e = resolve(index);
    if (e.type == kParamMarket) {
        *out = static_cast<BarRecord*>(e.pointer);
        return 1;
    }
    expectedMessage(errorText, index, "Market");
    return 0;
}

int CParmBlock::getSeries(int index, SeriesHandle** out) {
    ParamEntry& e = resolve(index);
    if (e.type == kParamBoolSeries || e.type == kParamNumberSeries) {
        *out = static_cast<SeriesHandle*>(e.pointer);
        return 1;
    }
    if (e.type == kParamNumber || e.type == kParamNumber2) {
        *out = static_cast<SeriesHandle*>(e.pointer);
        if (isSingleConstant(*out)) return 1;
    }
    insertedWordMessage(errorText, index, e.type == kParamNumber ? "Number" : "??????");
    return 0;
}

int CParmBlock::getTextSeries(int index, SeriesHandle** out) {
    ParamEntry& e = resolve(index);
    if (e.type == kParamTextSeries) {
        *out = static_cast<SeriesHandle*>(e.pointer);
        return 1;
    }
    if (e.type == kParamText) {
        *out = static_cast<SeriesHandle*>(e.pointer);
        if (isSingleConstant(*out)) return 1;
    }
    const char* word = "??????";
    if (e.type == kParamNumberSeries || e.type == kParamBoolSeries || e.type == kParamNumber)
        word = paramTypeName(e.type);
    insertedWordMessage(errorText, index, word);
    return 0;
}

} // namespace fk
