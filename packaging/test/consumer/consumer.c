/* Prints the size of three frames.  Usage: my_consumer MEMORY */
#include <kvframes.h>
#include <stdio.h>

int main(int argc, char** argv)
{
    kvf_source* source;
    kvf_frame frame;
    int frames = 0;
    if (argc != 2 || kvf_open(argv[1], &source) != KVF_OK)
        return 1;
    while (frames < 3 && kvf_wait(source, KVF_NEXT, 60000, &frame) == KVF_OK)
        printf("frame %d: %u x %u\n", ++frames, frame.width, frame.height);
    kvf_close(source);
    return frames == 3 ? 0 : 1;
}
