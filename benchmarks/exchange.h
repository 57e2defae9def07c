#ifndef EXCHANGE_H
#define EXCHANGE_H

#include "samples.h"

#include <korvinexchange/engine.h>
#include <korvininspect/packageforms.h>

#include <memory>

/// A data read and its reply, as a client exchanges them in byte frames with short replies, or in
/// records. The reply comes at once, with the serial number of the request.
class Exchange
{
public:
    static constexpr int DataSize = 16;

    explicit Exchange(KorvinInspect::Form form)
        : m_form(form)
        , m_package(makeRequest<PackageRequestReadData>(Sample(), DataSize))
        , m_engine(settings(form))
    {
        using namespace KorvinInspect;
        auto device =
            makeRequest<PackageRequestReadData>(Sample(), randomBlock(DataSize, 1), DataSize);
        encodePackage(device, {form, Direction::Reply}, &m_reply);
        if (form == Form::Text)
            m_reply.remove(0, m_reply.indexOf(','));
    }

    /// Encodes, checks and decodes as a careful client without an engine does.
    bool byHand()
    {
        using namespace KorvinInspect;
        const MessageShape request{ClassId::PackageRequestReadData, m_form, Direction::Request};
        const MessageShape reply{ClassId::PackageRequestReadData, m_form, Direction::Reply};
        QByteArray message;
        m_package.setSerialNum(m_package.getSerialNum() % 255 + 1);
        const bool isSent = encodePackage(m_package, {m_form, Direction::Request}, &message).isOk()
            && check(message, request).isOk();
        CheckOptions options;
        options.request = message;
        std::unique_ptr<PackageBase> answer;
        return isSent && decodeMessage(replyTo(message), reply, &answer, options).isOk()
            && answer->isPackageSuccess() && answer->data().size() == DataSize;
    }

    /// Does the same with an engine, one millisecond after the exchange before. About 100 serial
    /// numbers are still reserved for late replies.
    bool byEngine()
    {
        m_now += std::chrono::milliseconds(1);
        m_engine.send(&m_package, {}, m_now);
        const auto message = m_engine.takeMessage(m_now);
        if (!message)
            return false;
        m_engine.receive(message->shape.form, replyTo(message->bytes), m_now);
        const auto event = m_engine.takeEvent();
        return event && event->outcome == KorvinExchange::Outcome::Success
            && m_package.data().size() == DataSize;
    }

private:
    static KorvinExchange::Settings settings(KorvinInspect::Form form)
    {
        KorvinExchange::Settings settings;
        settings.forms = {form};
        return settings;
    }

    QByteArray replyTo(const QByteArray &request)
    {
        if (m_form == KorvinInspect::Form::Text)
            return request.left(request.indexOf(',')) + m_reply;
        const int serialNum = 9 + static_cast<int>(Sample().deviceKey.size() + Sample().tag.size());
        m_reply[1] = request.at(serialNum);
        m_reply[2] = request.at(serialNum + 1);
        return m_reply;
    }

    KorvinInspect::Form m_form;
    PackageRequestReadData m_package;
    QByteArray m_reply; // a record without its serial number
    KorvinExchange::Engine m_engine;
    KorvinExchange::Time m_now{0};
};

#endif
