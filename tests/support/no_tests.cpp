/** A program of nothing: it is there for the headers that are compiled with it. */
int main()
{
    return 0;
}
