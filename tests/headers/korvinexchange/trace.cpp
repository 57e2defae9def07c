#include <korvinexchange/trace.h>

bool korvinexchange_trace();

bool korvinexchange_trace()
{
    using namespace KorvinExchange;
    class Kept : public Trace
    {
    public:
        void add(const TraceEntry &entry) override { text = describe(entry); }
        QString text;
    };
    Kept kept;
    kept.add({});
    return !kept.text.isEmpty();
}
