// An application with a product name that does nothing: for each line of its input it says what priority
// class the system reports for it. It ends with its input.
#include <iostream>
#include <string>

#include <windows.h>

int main() {
    std::cout << "ready " << GetCurrentProcessId() << std::endl;
    std::string line;
    while (std::getline(std::cin, line))
        std::cout << "priority 0x" << std::hex << GetPriorityClass(GetCurrentProcess()) << std::endl;
    return 0;
}
