// The tags under which operators reach the file.  The expression context
// has its own number space, unrelated to the operator codes of the tree.
#include "output/records.h"

#include "expr/expr_node.h"

int expr_tag(int op) {
    switch (op) {
    case OP_ADD: return REC_OP_ADD;
    case OP_SUB: return REC_OP_SUB;
    case OP_MUL: return REC_OP_MUL;
    case OP_DIV: return REC_OP_DIV;
    case OP_MOD: return REC_OP_MOD;
    case OP_SHL: return REC_OP_SHL;
    case OP_SHR: return REC_OP_SHR;
    case OP_AND: return REC_OP_AND;
    case OP_XOR: return REC_OP_XOR;
    case OP_OR: return REC_OP_OR;
    case OP_LT: return REC_OP_LT;
    case OP_GE: return REC_OP_GE;
    case OP_GT: return REC_OP_GT;
    case OP_LE: return REC_OP_LE;
    case OP_EQ: return REC_OP_EQ;
    case OP_NE: return REC_OP_NE;
    case OP_LOGAND: return REC_OP_LOGAND;
    case OP_LOGOR: return REC_OP_LOGOR;
    case OP_ASSIGN: return REC_OP_ASSIGN;
    case OP_ADD_ASSIGN: return REC_OP_ADD_ASSIGN;
    case OP_SUB_ASSIGN: return REC_OP_SUB_ASSIGN;
    case OP_MUL_ASSIGN: return REC_OP_MUL_ASSIGN;
    case OP_DIV_ASSIGN: return REC_OP_DIV_ASSIGN;
    case OP_MOD_ASSIGN: return REC_OP_MOD_ASSIGN;
    case OP_SHL_ASSIGN: return REC_OP_SHL_ASSIGN;
    case OP_SHR_ASSIGN: return REC_OP_SHR_ASSIGN;
    case OP_AND_ASSIGN: return REC_OP_AND_ASSIGN;
    case OP_XOR_ASSIGN: return REC_OP_XOR_ASSIGN;
    case OP_OR_ASSIGN: return REC_OP_OR_ASSIGN;
    case OP_COMMA: return REC_OP_COMMA;
    case OP_COND: return REC_OP_COND;
    case OP_POSTINC: return REC_OP_POSTINC;
    case OP_POSTDEC: return REC_OP_POSTDEC;
    case OP_NEG: return REC_OP_NEG;
    case OP_NOT: return REC_OP_NOT;
    case OP_COMPL: return REC_OP_COMPL;
    case OP_DEREF: return REC_OP_DEREF;
    case OP_ADDR: return REC_OP_ADDR;
    case OP_CAST: return REC_OP_CAST;
    default: return -1;
    }
}
