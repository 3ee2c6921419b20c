#include "simulator/simulator.h"

int main(int count, char** arguments) {
    return kovra::simulation::runSimulator({arguments + 1, arguments + count}, stdout, stderr);
}
