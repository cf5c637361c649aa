int g(void);
void h(int);

void f(void)
{
    int v0, v1, v2, v3, v4, v5, v6, v7, v8, v9, v10, v11, v12, v13, v14, v15, v16, v17, v18, v19, v20, v21, v22, v23, v24, v25, v26, v27, v28, v29, v30;
    int d;
    int lo;
    v0 = g(); h(v0); h(v0);
    v1 = g(); h(v1); h(v1);
    v2 = g(); h(v2); h(v2);
    v3 = g(); h(v3); h(v3);
    v4 = g(); h(v4); h(v4);
    v5 = g(); h(v5); h(v5);
    v6 = g(); h(v6); h(v6);
    v7 = g(); h(v7); h(v7);
    v8 = g(); h(v8); h(v8);
    v9 = g(); h(v9); h(v9);
    v10 = g(); h(v10); h(v10);
    v11 = g(); h(v11); h(v11);
    v12 = g(); h(v12); h(v12);
    v13 = g(); h(v13); h(v13);
    v14 = g(); h(v14); h(v14);
    v15 = g(); h(v15); h(v15);
    v16 = g(); h(v16); h(v16);
    v17 = g(); h(v17); h(v17);
    v18 = g(); h(v18); h(v18);
    v19 = g(); h(v19); h(v19);
    v20 = g(); h(v20); h(v20);
    v21 = g(); h(v21); h(v21);
    v22 = g(); h(v22); h(v22);
    v23 = g(); h(v23); h(v23);
    v24 = g(); h(v24); h(v24);
    v25 = g(); h(v25); h(v25);
    v26 = g(); h(v26); h(v26);
    v27 = g(); h(v27); h(v27);
    v28 = g(); h(v28); h(v28);
    v29 = g(); h(v29); h(v29);
    v30 = g(); h(v30); h(v30);
    d = g(); d = g();
    lo = g();
}
