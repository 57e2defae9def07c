#ifndef EXCHANGE_H
#define EXCHANGE_H

#include "samples.h"

#include <korvinexchange/engine.h>
#include <korvininspect/packageforms.h>

#include <memory>

/// A data read and its reply in short frames, as a client exchanges them. The reply comes at once,
/// with the serial number of the request.
class Exchange
{
public:
    static constexpr int DataSize = 16;

    Exchange()
        : m_package(makeRequest<PackageRequestReadData>(Sample(), DataSize))
        , m_reply(QByteArray("\0\0\0\0\1\0", 6) + QByteArray("\x10\0\0\0", 4)
                  + randomBlock(DataSize, 1))
    {
    }

    /// Encodes, checks and decodes as a careful client without an engine does.
    bool byHand()
    {
        using namespace KorvinInspect;
        const MessageShape request{ClassId::PackageRequestReadData, Form::Frame,
                                   Direction::Request};
        const MessageShape reply{ClassId::PackageRequestReadData, Form::Frame, Direction::Reply};
        QByteArray frame;
        m_package.setSerialNum(m_package.getSerialNum() % 255 + 1);
        const bool isSent =
            encodePackage(m_package, {Form::Frame, Direction::Request}, &frame).isOk()
            && check(frame, request).isOk();
        CheckOptions options;
        options.request = frame;
        std::unique_ptr<PackageBase> answer;
        return isSent && decodeMessage(replyTo(frame), reply, &answer, options).isOk()
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
    static KorvinExchange::Settings settings()
    {
        KorvinExchange::Settings settings;
        settings.forms = {KorvinInspect::Form::Frame};
        return settings;
    }

    const QByteArray &replyTo(const QByteArray &frame)
    {
        const int serialNum = 9 + static_cast<int>(Sample().deviceKey.size() + Sample().tag.size());
        m_reply[1] = frame.at(serialNum);
        m_reply[2] = frame.at(serialNum + 1);
        return m_reply;
    }

    PackageRequestReadData m_package;
    QByteArray m_reply;
    KorvinExchange::Engine m_engine{settings()};
    KorvinExchange::Time m_now{0};
};

#endif
