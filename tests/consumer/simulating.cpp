// A user of the installed library that talks to a simulated device.

#include <packagerequestreaddata.h>
#include <simulateddevice.h>

#include <cstdio>

using namespace KorvinSimulator;

int main()
{
    DeviceState state;
    state.units[{}].blocks[0] = {"data"};
    SimulatedDevice device(state);
    PackageRequestReadData read;
    read.setReplyDataLength(4);
    const Answer answer =
        device.answer(read.makePackageRequest().toUtf8(),
                      KorvinInspect::ClassId::PackageRequestReadData, KorvinInspect::Form::Text);
    const bool good = answer.replies.size() == 1
        && read.unPackageReply(QString::fromUtf8(answer.replies.front())) && read.isPackageSuccess()
        && read.data() == "data";
    std::puts(good ? "simulating consumer: ok" : "simulating consumer: wrong");
    return good ? 0 : 1;
}
