#include "TavrikCore/Synthesis/ContentBlock.h"

namespace tavrik {

ContentBlock ContentBlock::makeText(const QString& text) {
    ContentBlock block;
    block.kind = Kind::text;
    block.text = text;
    return block;
}

ContentBlock ContentBlock::makeImage(const QString& mediaType, const QByteArray& base64) {
    ContentBlock block;
    block.kind = Kind::image;
    block.mediaType = mediaType;
    block.base64 = base64;
    return block;
}

QJsonObject ContentBlock::toJson() const {
    if (kind == Kind::text)
        return QJsonObject{{"type", "text"}, {"text", text}};
    return QJsonObject{{"type", "image"},
                       {"source", QJsonObject{{"type", "base64"},
                                              {"media_type", mediaType},
                                              {"data", QString::fromLatin1(base64)}}}};
}

} // namespace tavrik
