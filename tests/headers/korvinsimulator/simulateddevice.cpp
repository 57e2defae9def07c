#include <korvinsimulator/simulateddevice.h>

bool korvinsimulator_simulateddevice();

bool korvinsimulator_simulateddevice()
{
    using namespace KorvinSimulator;
    class Device : public SimulatedDevice
    {
    public:
        void carryOut(PackageBase &request) override { request.setAckCode(9); }
    };
    PackageBase request;
    Device device;
    const Answer answer =
        device.answer(request.MackPackageRequest(), KorvinInspect::ClassId::PackageBase,
                      KorvinInspect::Form::Frame);
    return answer.verdict.isOk() && answer.replies.size() == 1 && answer.replies[0].size() == 6
        && answer.replies[0].at(3) == 9;
}
