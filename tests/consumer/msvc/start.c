/* What Visual C++'s runtime library would do before and after main. */
int main(void);
void exit(int code);
int _fltused = 0; /* the compiler's sign that numbers with a fraction are used */

void mainCRTStartup(void) {
    exit(main());
}
