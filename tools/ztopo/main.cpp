// ztopo: shows and steers the topology of a running system through its discovery node.
#include <iostream>
#include <string>
#include <vector>

#include "ZTopoCommand.h"

int main(int argc, char** argv) {
    ZTopoCommand command(std::cout, std::cerr);
    return command.Run(std::vector<std::string>(argv, argv + argc));
}
