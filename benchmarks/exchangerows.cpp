// Measures a request and its reply, coded by hand and by the engine of korvinexchange.

#include "exchange.h"
#include "rows.h"

void addExchangeRows()
{
    Row row;
    row.who = "library";
    row.form = "exchange";
    row.subject = "PackageRequestReadData";
    row.operation = "exchange";
    row.payload = "small";
    row.object = "reused";
    row.way = "by hand";
    addRow(row, [exchange = std::make_shared<Exchange>()] { return exchange->byHand(); });
    row.way = "engine";
    addRow(row, [exchange = std::make_shared<Exchange>()] { return exchange->byEngine(); });
}
