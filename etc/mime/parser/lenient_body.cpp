#include "mime/parser/lenient_body.h"

namespace MIME {

namespace {

void NoteTally(ReadState& state, Deviation::keys kind, const Tally& tally, const char* begin) {
    if (tally.count != 0) state.Note(kind, begin + tally.first);
}

}  // namespace

template <>
void LenientBase64Body::Note(const char* begin) {
    NoteTally(state_, Deviation::base64Rubbish, decoder_.GetRubbish(), begin);
    NoteTally(state_, Deviation::base64Padding, decoder_.GetMissingPadding(), begin);
    NoteTally(state_, Deviation::base64AfterPadding, decoder_.GetBehindPadding(), begin);
}

template <>
void LenientQuotedPrintableBody::Note(const char* begin) {
    NoteTally(state_, Deviation::quotedPrintableEscape, decoder_.GetMalformed(), begin);
}

}  // namespace MIME
