#include "FuzzCheck.h"
#include "TavrikCore/Synthesis/EventStreamReader.h"

// The model host's event stream, cut into reads of the sizes the first bytes choose. However the
// network splits it, the reader must see the same text as when the whole body arrives at once.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t kCuts = 8;
    if (size < kCuts)
        return 0;
    const QByteArrayView body(reinterpret_cast<const char*>(data) + kCuts, qsizetype(size - kCuts));

    tavrik::EventStreamReader whole;
    whole.feed(body);
    whole.finish();

    QString delivered;
    tavrik::EventStreamReader pieces([&](const QString& fragment) { delivered += fragment; });
    qsizetype offset = 0;
    for (size_t cut = 0; offset < body.size(); cut = (cut + 1) % kCuts) {
        const qsizetype length = std::min<qsizetype>(body.size() - offset, data[cut] + 1);
        if (!pieces.feed(body.sliced(offset, length)))
            break;
        offset += length;
    }
    pieces.finish();

    FUZZ_CHECK(pieces.text() == whole.text());
    FUZZ_CHECK(delivered == pieces.text());
    FUZZ_CHECK(pieces.sawMessageStop() == whole.sawMessageStop());
    return 0;
}
