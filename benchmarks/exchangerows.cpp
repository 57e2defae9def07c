// Measures a request and its reply, coded by hand and by the engine of korvinexchange.

#include "exchange.h"
#include "rows.h"

using KorvinInspect::Form;

namespace {

void addRows(const char *form, Form itsForm)
{
    Row row;
    row.who = "library";
    row.form = form;
    row.subject = "PackageRequestReadData";
    row.operation = "exchange";
    row.payload = "small";
    row.object = "reused";
    row.way = "by hand";
    addRow(row, [exchange = std::make_shared<Exchange>(itsForm)] { return exchange->byHand(); });
    row.way = "engine";
    addRow(row, [exchange = std::make_shared<Exchange>(itsForm)] { return exchange->byEngine(); });
}

} // namespace

void addExchangeRows()
{
    addRows("exchange of frames", Form::Frame);
    addRows("exchange of records", Form::Text);
}
