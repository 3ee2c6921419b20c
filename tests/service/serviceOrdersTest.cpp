#include "service/serviceProcess.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace kovra {
namespace {

using simulated::Happening;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint32_t orders = 500;
#else
constexpr std::uint32_t orders = 10'000;
#endif

/// A service that is started, stopped, shut down, asked and told to exit, at moments that the seed draws, as
/// is the order in which the threads get on.
class DrawnOrder : public ServiceMachine {
public:
    explicit DrawnOrder(std::uint32_t seed) : order_(seed) {
        keepHappenings = false;
        addService();
        scheduler.drawOrder(seed);
        observer = [this](const Happening&) {
            ++happened_;
            for (; nextAct_ < acts_.size() && acts_[nextAct_] <= happened_; ++nextAct_)
                act();
        };
        for (int number = 0; number < 3; ++number) {
            acts_.push_back(order_() % 40);
            scheduler.at(order_() % 4 * 200, [this] { act(); });
        }
        std::sort(acts_.begin(), acts_.end());
    }

    void play() {
        services.start("Kovra");
        ServiceMachine::play(1500);
        nextAct_ = acts_.size();
        services.control("Kovra", SERVICE_CONTROL_STOP);
        EXPECT_TRUE(playUntil([&] { return processes.find("kovraLauncher.exe") == nullptr; }, 10'000));
        const std::vector<DWORD> states = services.find("Kovra")->reportedStates();
        EXPECT_EQ(states.empty() ? 0 : states.back(), SERVICE_STOPPED);
        const auto startsLate = [](DWORD before, DWORD state) {
            return state == SERVICE_START_PENDING && before != SERVICE_STOPPED;
        };
        EXPECT_EQ(std::adjacent_find(states.begin(), states.end(), startsLate), states.end());
    }

private:
    void act() {
        constexpr DWORD controls[] = {SERVICE_CONTROL_STOP, SERVICE_CONTROL_SHUTDOWN,
                                      SERVICE_CONTROL_INTERROGATE};
        const std::size_t drawn = order_() % (2 + std::size(controls));
        if (drawn == 0)
            services.start("Kovra");
        else if (drawn <= std::size(controls))
            services.control("Kovra", controls[drawn - 1]);
        else
            pipes.say("exit");
    }

    std::mt19937 order_;
    std::vector<std::size_t> acts_; // by the number of things that have happened
    std::size_t nextAct_ = 0;
    std::size_t happened_ = 0;
};

TEST(ServiceOrders, EndsStoppedWhateverComesInWhateverOrder) {
    for (std::uint32_t seed = 0; seed < orders && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        DrawnOrder{seed}.play();
    }
}

} // namespace
} // namespace kovra
