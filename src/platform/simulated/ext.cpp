#include "platform/ext.h"

#include "platform/simulated/machine.h"

namespace kovra {

using namespace simulated;

void createJunction(const char* target, const char* link) {
    const Call<"createJunction"> call;
    Machine& here = machine();
    if (!call.fails() && here.files.makeJunction(here.codePage.toWide(target), here.codePage.toWide(link)))
        here.tell(Side::launcher, "makes the junction " + std::string{link});
}

} // namespace kovra
