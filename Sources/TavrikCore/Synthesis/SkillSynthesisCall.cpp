#include "TavrikCore/Synthesis/SkillSynthesisCall.h"

#include "TavrikCore/Synthesis/ModelCall.h"

#include <QEventLoop>
#include <QPromise>
#include <QThreadPool>

namespace tavrik {

SkillSynthesisCall::SkillSynthesisCall(const Synthesizer& synthesizer, const Recording& recording,
                                       const AnthropicClient& client, Path path,
                                       const std::optional<QString>& narration, QObject* parent)
    : QObject(parent), m_synthesizer(synthesizer), m_recording(recording), m_client(client),
      m_path(path) {
    auto promise = std::make_shared<QPromise<QList<ContentBlock>>>();
    m_content.setFuture(promise->future());
    connect(&m_content, &QFutureWatcher<QList<ContentBlock>>::finished, this,
            &SkillSynthesisCall::onContentReady);
    promise->start();
    // Decoding and encoding a dozen large frames takes long enough to freeze the interface.
    QThreadPool::globalInstance()->start([promise, synthesizer, recording, path, narration] {
        promise->addResult(path == Path::markdown
                               ? synthesizer.markdownContent(recording, narration)
                               : synthesizer.structuredContent(recording));
        promise->finish();
    });
}

SkillSynthesisCall::~SkillSynthesisCall() {
    m_content.disconnect(this);
    delete m_call;
}

void SkillSynthesisCall::onContentReady() {
    if (m_finished || m_content.future().resultCount() == 0)
        return;
    const QList<ContentBlock> content = m_content.future().result();
    if (m_path == Path::markdown) {
        TextStreamCall* call = m_client.streamText(Synthesizer::markdownSystemPrompt(), content,
                                                   Synthesizer::markdownMaxTokens, this);
        connect(call, &TextStreamCall::delta, this, &SkillSynthesisCall::delta);
        m_call = call;
    } else {
        m_call = m_client.structuredCompletion(Synthesizer::systemPrompt(), content,
                                               Synthesizer::schema(),
                                               Synthesizer::structuredMaxTokens, this);
    }
    connect(m_call, &ModelCall::finished, this, &SkillSynthesisCall::onModelFinished);
}

void SkillSynthesisCall::onModelFinished() {
    ModelCall* call = m_call;
    if (m_finished || !call)
        return;
    call->deleteLater();
    m_call = nullptr;
    if (call->error()) {
        finishWith(call->error());
        return;
    }
    if (m_path == Path::markdown) {
        m_markdown = static_cast<TextStreamCall*>(call)->text();
        m_skill = Synthesizer::skillFromMarkdown(m_markdown, m_recording);
        finishWith(std::nullopt);
        return;
    }
    const QByteArray answer = static_cast<StructuredCall*>(call)->answer();
    m_markdown = QString::fromUtf8(answer);
    QString problem;
    m_skill = Synthesizer::skillFromDraft(answer, m_recording, &problem);
    finishWith(m_skill ? std::nullopt : std::optional(ClientError::decoding(problem)));
}

void SkillSynthesisCall::finishWith(std::optional<ClientError> error) {
    if (m_finished)
        return;
    m_finished = true;
    m_error = std::move(error);
    emit finished();
}

void SkillSynthesisCall::cancel() {
    if (m_finished)
        return;
    if (m_call)
        m_call->cancel(); // reports back through onModelFinished
    else
        finishWith(ClientError::cancelled());
}

bool SkillSynthesisCall::waitForFinished() {
    if (!m_finished) {
        QEventLoop loop;
        connect(this, &SkillSynthesisCall::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return !m_error.has_value();
}

} // namespace tavrik
