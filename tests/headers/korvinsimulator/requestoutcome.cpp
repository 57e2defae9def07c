#include <korvinsimulator/requestoutcome.h>

bool korvinsimulator_requestoutcome();

bool korvinsimulator_requestoutcome()
{
    return KorvinSimulator::RequestOutcome().commResult == OrvexEnum::CommOk;
}
