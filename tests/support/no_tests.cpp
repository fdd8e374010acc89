/** An empty program, built only to precompile the headers of the tests. */
int main()
{
    return 0;
}
