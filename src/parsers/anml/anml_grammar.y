/* The grammar of ANML, LALR(1) without conflicts.
 *
 * Semantic values are trivial: an expression, a token, or the place on one of the builder's stacks
 * where a list begins. So the parser's stack may be moved and dropped at any time, and an exception
 * may leave it. Lists of statements and arguments recurse to the left and need no stack; operators
 * recurse to the right, as `a - b - c` means `a - (b - c)`.
 */

%define api.pure full
%define api.prefix {kelvo_anml_}
%expect 0
%parse-param {void* scanner} {kelvo::AnmlBuilder& builder}
%lex-param {void* scanner}

%code requires {
#include "parsers/anml/anml_builder.h"
}

%code {
// Depth of nesting costs stack space here, and only here.
#define YYMAXDEPTH 10000000
#define YYMALLOC(size) builder.memory().allocate(size)
#define YYFREE(block) builder.memory().free(block)

int kelvo_anml_lex(KELVO_ANML_STYPE* value, void* scanner);

static void kelvo_anml_error(void*, kelvo::AnmlBuilder& builder, const char* message) {
  builder.handle_error(message);
}
}

%union {
  kelvo::model::Expression expression;
  kelvo::Token* token;
  std::size_t mark;
}

%token TK_EOF 258
%token <token> TK_IDENTIFIER TK_NATURAL TK_RATIONAL
%token TK_L_BRACE TK_R_BRACE TK_L_BRACKET TK_R_BRACKET TK_L_PARENTHESIS TK_R_PARENTHESIS
%token TK_ACTION TK_TYPE TK_INSTANCE TK_GOAL TK_CONTAINS TK_ASSIGN TK_IN_ASSIGN
%token TK_COMMA TK_SEMI TK_DOT TK_COLON
%token TK_SET TK_BOOLEAN TK_INTEGER TK_FLOAT TK_FLUENT TK_CONSTANT TK_WITH
%token TK_MINUS TK_PLUS TK_TIMES TK_DIV
%token TK_IN TK_SUBSET TK_UNION TK_INTERSECTION TK_DIFFERENCE
%token TK_ALL TK_START TK_END TK_DURATION
%token TK_AND TK_OR TK_NOT TK_IMPLIES TK_FALSE TK_TRUE
%token TK_LE TK_GE TK_GT TK_LT TK_EQUALS TK_NOT_EQUALS

%type <mark> action_body class_body opt_inheritance_list inheritance_list identifier_list
%type <mark> parameter_list parameters expression_list expressions
%type <expression> timed_expression interval temporal_expression action_stmt
%type <expression> assignment_expression in_assignment_expression fluent_ref fluent_fun_ref
%type <expression> expression boolean_expression or_expression and_expression batom_expression
%type <expression> arithmetic_expression times_expression arithmetic_atom_expression
%type <expression> integer_const float_const boolean_const

%start anml_body

%%

anml_body
  : %empty
  | anml_body anml_stmt TK_SEMI
  ;

anml_stmt
  : declaration                 { builder.add_to_problem(); }
  | timed_expression            { builder.add_statement($1); }
  | instance_decl
  | goal_decl
  ;

/* Leaves one member on the builder's stack. */
declaration
  : type_decl
  | fluent_decl
  | constant_decl
  | action_decl
  ;

goal_decl
  : TK_GOAL timed_expression                    { builder.add_statement($2); }
  | TK_GOAL TK_L_BRACE goal_body TK_R_BRACE
  ;

goal_body
  : timed_expression TK_SEMI                    { builder.add_statement($1); }
  | goal_body timed_expression TK_SEMI          { builder.add_statement($2); }
  ;

action_body
  : %empty                                      { $$ = builder.expressions_mark(); }
  | action_body action_stmt TK_SEMI             { $$ = $1; builder.push_statement($2); }
  ;

action_stmt
  : timed_expression
  | in_assignment_expression
  ;

class_body
  : %empty                                      { $$ = builder.members_mark(); }
  | class_body declaration TK_SEMI
  ;

type_decl
  : TK_TYPE TK_IDENTIFIER opt_inheritance_list
      { builder.declare_type($2, $3, builder.members_mark()); }
  | TK_TYPE TK_IDENTIFIER opt_inheritance_list TK_WITH TK_L_BRACE class_body TK_R_BRACE
      { builder.declare_type($2, $3, $6); }
  ;

opt_inheritance_list
  : %empty                                      { $$ = builder.names_mark(); }
  | inheritance_list
  ;

inheritance_list
  : TK_LT TK_IDENTIFIER                         { $$ = builder.push_name($2); }
  | inheritance_list TK_LT TK_IDENTIFIER        { $$ = $1; builder.push_name($3); }
  ;

instance_decl
  : TK_INSTANCE type_ref identifier_list        { builder.declare_instances($3); }
  ;

identifier_list
  : TK_IDENTIFIER                               { $$ = builder.push_name($1); }
  | identifier_list TK_COMMA TK_IDENTIFIER      { $$ = $1; builder.push_name($3); }
  ;

fluent_decl
  : TK_FLUENT type_ref TK_IDENTIFIER
      { builder.declare_fluent($3, builder.parameters_mark()); }
  | TK_FLUENT type_ref TK_IDENTIFIER TK_L_PARENTHESIS parameter_list TK_R_PARENTHESIS
      { builder.declare_fluent($3, $5); }
  ;

constant_decl
  : TK_CONSTANT type_ref TK_IDENTIFIER
      { builder.declare_constant($3, builder.parameters_mark()); }
  | TK_CONSTANT type_ref TK_IDENTIFIER TK_L_PARENTHESIS parameter_list TK_R_PARENTHESIS
      { builder.declare_constant($3, $5); }
  ;

action_decl
  : TK_ACTION TK_IDENTIFIER TK_L_PARENTHESIS parameter_list TK_R_PARENTHESIS
    TK_L_BRACE action_body TK_R_BRACE           { builder.declare_action($2, $4, $7); }
  ;

/* Leaves one type on the builder's stack. */
type_ref
  : primitive_type
  | TK_SET TK_L_PARENTHESIS type_ref TK_R_PARENTHESIS   { builder.set_type(); }
  | TK_IDENTIFIER                                       { builder.named_type($1); }
  ;

primitive_type
  : TK_BOOLEAN                                  { builder.boolean_type(); }
  | TK_INTEGER                                  { builder.integer_type(); }
  | TK_INTEGER TK_L_BRACKET integer_const TK_COMMA integer_const TK_R_BRACKET
      { builder.integer_type($3, $5); }
  | TK_FLOAT                                    { builder.float_type(); }
  | TK_FLOAT TK_L_BRACKET float_const TK_COMMA float_const TK_R_BRACKET
      { builder.float_type($3, $5); }
  ;

integer_const
  : TK_NATURAL                                  { $$ = builder.natural($1); }
  ;

float_const
  : integer_const
  | TK_RATIONAL                                 { $$ = builder.decimal($1); }
  ;

boolean_const
  : TK_TRUE                                     { $$ = builder.ef().make_true(); }
  | TK_FALSE                                    { $$ = builder.ef().make_false(); }
  ;

/* Possibly empty, possibly with a comma behind the last parameter. */
parameter_list
  : %empty                                      { $$ = builder.parameters_mark(); }
  | parameters
  | parameters TK_COMMA
  ;

parameters
  : type_ref TK_IDENTIFIER                      { $$ = builder.push_parameter($2); }
  | parameters TK_COMMA type_ref TK_IDENTIFIER  { $$ = $1; builder.push_parameter($4); }
  ;

/* At least one entry; a star stands last only. */
expression_list
  : expressions
  | TK_TIMES                                    { $$ = builder.push_expression(builder.star()); }
  | expressions TK_COMMA TK_TIMES               { $$ = $1; builder.push_expression(builder.star()); }
  ;

expressions
  : boolean_expression                          { $$ = builder.push_expression($1); }
  | expressions TK_COMMA boolean_expression     { $$ = $1; builder.push_expression($3); }
  ;

timed_expression
  : interval expression       { $$ = builder.ef().make_temporal_expression($1, $2); }
  | expression
  ;

interval
  : TK_L_BRACKET temporal_expression TK_COMMA temporal_expression TK_R_BRACKET
      { $$ = builder.ef().make_closed_interval($2, $4); }
  | TK_L_BRACKET temporal_expression TK_COMMA temporal_expression TK_R_PARENTHESIS
      { $$ = builder.ef().make_right_open_interval($2, $4); }
  | TK_L_PARENTHESIS temporal_expression TK_COMMA temporal_expression TK_R_BRACKET
      { $$ = builder.ef().make_left_open_interval($2, $4); }
  | TK_L_PARENTHESIS temporal_expression TK_COMMA temporal_expression TK_R_PARENTHESIS
      { $$ = builder.ef().make_open_interval($2, $4); }
  | TK_L_BRACKET TK_ALL TK_R_BRACKET            { $$ = builder.whole_interval(true, true); }
  | TK_L_BRACKET TK_ALL TK_R_PARENTHESIS        { $$ = builder.whole_interval(true, false); }
  | TK_L_PARENTHESIS TK_ALL TK_R_BRACKET        { $$ = builder.whole_interval(false, true); }
  | TK_L_PARENTHESIS TK_ALL TK_R_PARENTHESIS    { $$ = builder.whole_interval(false, false); }
  | TK_L_BRACKET temporal_expression TK_R_BRACKET
      { $$ = builder.ef().make_point_interval($2); }
  | interval TK_CONTAINS                        { $$ = builder.ef().make_contains($1); }
  | interval TK_CONTAINS TK_L_BRACKET arithmetic_expression TK_R_BRACKET
      { $$ = builder.ef().make_contains($1, $4); }
  | interval TK_IDENTIFIER TK_COLON             { $$ = builder.label($1, $2); }
  ;

temporal_expression
  : arithmetic_expression
  ;

assignment_expression
  : fluent_ref TK_ASSIGN expression             { $$ = builder.ef().make_assign($1, $3); }
  | fluent_fun_ref TK_ASSIGN expression         { $$ = builder.ef().make_assign($1, $3); }
  | TK_DURATION TK_ASSIGN arithmetic_expression { $$ = builder.duration_assign($3); }
  ;

in_assignment_expression
  : TK_DURATION TK_IN_ASSIGN TK_L_BRACKET temporal_expression TK_COMMA temporal_expression
    TK_R_BRACKET                                { $$ = builder.duration_in($4, $6); }
  | TK_L_PARENTHESIS in_assignment_expression TK_R_PARENTHESIS  { $$ = $2; }
  ;

fluent_ref
  : TK_IDENTIFIER                               { $$ = builder.symbol($1); }
  | fluent_ref TK_DOT TK_IDENTIFIER             { $$ = builder.scoping($1, $3); }
  | fluent_fun_ref TK_DOT TK_IDENTIFIER         { $$ = builder.scoping($1, $3); }
  | TK_START TK_L_PARENTHESIS TK_IDENTIFIER TK_R_PARENTHESIS
      { $$ = builder.ef().make_label_reference($3->first); }
  ;

fluent_fun_ref
  : fluent_ref TK_L_PARENTHESIS expression_list TK_R_PARENTHESIS
      { $$ = builder.application($1, $3); }
  ;

expression
  : boolean_expression
  | assignment_expression
  ;

boolean_expression
  : or_expression TK_IMPLIES boolean_expression { $$ = builder.ef().make_imply($1, $3); }
  | or_expression
  ;

or_expression
  : and_expression TK_OR or_expression          { $$ = builder.ef().make_or($1, $3); }
  | and_expression
  ;

and_expression
  : batom_expression TK_AND and_expression      { $$ = builder.ef().make_and($1, $3); }
  | batom_expression
  ;

batom_expression
  : TK_NOT batom_expression                     { $$ = builder.ef().make_not($2); }
  | arithmetic_expression TK_LT arithmetic_expression      { $$ = builder.ef().make_lt($1, $3); }
  | arithmetic_expression TK_LE arithmetic_expression      { $$ = builder.ef().make_le($1, $3); }
  | arithmetic_expression TK_GT arithmetic_expression      { $$ = builder.ef().make_gt($1, $3); }
  | arithmetic_expression TK_GE arithmetic_expression      { $$ = builder.ef().make_ge($1, $3); }
  | arithmetic_expression TK_EQUALS arithmetic_expression  { $$ = builder.ef().make_equals($1, $3); }
  | arithmetic_expression TK_NOT_EQUALS arithmetic_expression
      { $$ = builder.not_equals($1, $3); }
  | arithmetic_expression TK_IN arithmetic_expression      { $$ = builder.ef().make_in($1, $3); }
  | arithmetic_expression TK_SUBSET arithmetic_expression  { $$ = builder.ef().make_subset($1, $3); }
  | arithmetic_expression TK_UNION arithmetic_expression   { $$ = builder.ef().make_union($1, $3); }
  | arithmetic_expression TK_INTERSECTION arithmetic_expression
      { $$ = builder.ef().make_intersection($1, $3); }
  | arithmetic_expression TK_DIFFERENCE arithmetic_expression
      { $$ = builder.ef().make_difference($1, $3); }
  | arithmetic_expression
  ;

arithmetic_expression
  : times_expression TK_PLUS arithmetic_expression         { $$ = builder.ef().make_plus($1, $3); }
  | times_expression TK_MINUS arithmetic_expression        { $$ = builder.ef().make_minus($1, $3); }
  | times_expression
  ;

times_expression
  : arithmetic_atom_expression TK_TIMES times_expression   { $$ = builder.ef().make_times($1, $3); }
  | arithmetic_atom_expression TK_DIV times_expression     { $$ = builder.ef().make_div($1, $3); }
  | arithmetic_atom_expression
  ;

arithmetic_atom_expression
  : float_const
  | boolean_const
  | fluent_ref
  | fluent_fun_ref
  | TK_MINUS float_const                        { $$ = builder.negated($2); }
  | TK_MINUS fluent_ref                         { $$ = builder.ef().make_unary_minus($2); }
  | TK_MINUS fluent_fun_ref                     { $$ = builder.ef().make_unary_minus($2); }
  | TK_START                                    { $$ = builder.ef().make_start_anchor(); }
  | TK_END                                      { $$ = builder.ef().make_end_anchor(); }
  | TK_DURATION                                 { $$ = builder.ef().make_duration_anchor(); }
  | TK_L_PARENTHESIS expression TK_R_PARENTHESIS        { $$ = $2; }
  | TK_L_BRACE expression_list TK_R_BRACE       { $$ = builder.set_constant($2); }
  | TK_L_BRACE TK_R_BRACE       { $$ = builder.set_constant(builder.expressions_mark()); }
  ;

%%
