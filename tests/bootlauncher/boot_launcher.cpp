// Stands in for the suite's boot launcher: its exit code is the number of its arguments.
int main(int count, char**) {
    return count - 1;
}
