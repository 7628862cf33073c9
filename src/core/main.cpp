/* main.cpp - program entry. */

int main()
{
    return 0;
}
