// No program of use: its precompiled headers serve the tests.
int main() {}
