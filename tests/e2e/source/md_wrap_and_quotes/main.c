int main_v;
