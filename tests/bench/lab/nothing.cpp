// A program that does nothing, linked as the FAPI tools are: what starting one costs.
int main() {
    return 0;
}
