// A user of the installed library that talks to a simulated device. It has headers of its own by
// the names of the library's, in the folder that is searched first.

#include <devicestate.h>
#include <faultplan.h>
#include <hexbytes.h>
#include <inputtext.h>
#include <messageshape.h>
#include <packagecheck.h>

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>
#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/faultplan.h>
#include <korvinsimulator/simulateddevice.h>
#include <packagerequestreaddata.h>

#include <cstdio>

using namespace KorvinInspect;
using namespace KorvinSimulator;

static_assert(HasOwnDeviceState && HasOwnFaultPlan && HasOwnHexBytes && HasOwnInputText
              && HasOwnMessageShape && HasOwnPackageCheck);

int main()
{
    DeviceState state;
    state.units[{}].blocks[0] = {"data"};
    SimulatedDevice device(state);
    device.setFaults(FaultPlan());
    PackageRequestReadData read;
    read.setReplyDataLength(4);
    const Answer answer = device.answer(read.makePackageRequest().toUtf8(),
                                        ClassId::PackageRequestReadData, Form::Text);
    const MessageShape shape{ClassId::PackageRequestReadData, Form::Text, Direction::Reply};
    const bool good = answer.replies.size() == 1 && check(answer.replies.front(), shape).isOk()
        && read.unPackageReply(textFromUtf8(answer.replies.front())) && read.isPackageSuccess()
        && hexFromBytes(read.data()) == QLatin1String("64 61 74 61");
    std::puts(good ? "simulating consumer: ok" : "simulating consumer: wrong");
    return good ? 0 : 1;
}
