#include "testsupport.h"

#include <QtCore/QCoreApplication>

namespace {

std::vector<LogCapture::Entry> caught;

void keep(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    caught.push_back({type, QString::fromUtf8(context.file), context.line,
                      QString::fromUtf8(context.function), QString::fromUtf8(context.category),
                      text});
}

} // namespace

LogCapture::LogCapture()
{
    caught.clear();
    m_previous = qInstallMessageHandler(keep);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
}

const std::vector<LogCapture::Entry> &LogCapture::messages() const
{
    return caught;
}

// A request for more memory than exists fails as it does without the sanitizer.
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1";
}

// The application object sets the locale, which decides how file names are encoded.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
