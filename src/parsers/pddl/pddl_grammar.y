/* The grammar of the temporal subset of PDDL, LALR(1) without conflicts.
 *
 * Semantic values are trivial: an expression, a token, or the place on one of the builder's stacks
 * where a list begins. So the parser's stack may be moved and dropped at any time, and an exception
 * may leave it. All lists recurse to the left and need no stack.
 */

%define api.pure full
%define api.prefix {kelvo_pddl_}
%expect 0
%parse-param {void* scanner} {kelvo::PddlBuilder& builder}
%lex-param {void* scanner}

%code requires {
#include "parsers/pddl/pddl_builder.h"
}

%code {
// Depth of nesting costs stack space here, and only here.
#define YYMAXDEPTH 10000000
// The builder owns the grown stack, so that an exception in an action leaks nothing.
#define YYMALLOC(size) builder.allocate_stack(size)
#define YYFREE(block) builder.free_stack(block)

int kelvo_pddl_lex(KELVO_PDDL_STYPE* value, void* scanner);

static void kelvo_pddl_error(void*, kelvo::PddlBuilder& builder, const char* message) {
  builder.handle_error(message);
}
}

%union {
  kelvo::model::Expression expression;
  kelvo::PddlToken* token;
  std::size_t mark;
}

%token <token> TK_IDENTIFIER 258 TK_PARAMETER TK_NATURAL TK_RATIONAL
/* An opening parenthesis has its line. */
%token <mark> TK_L_PARENTHESIS
%token TK_R_PARENTHESIS
%token TK_MINUS TK_PLUS TK_TIMES TK_DIV
%token TK_LE TK_GE TK_GT TK_LT TK_EQUALS
%token TK_REQUIREMENTS TK_TYPING TK_FLUENTS TK_UNCONTROLLABLE_DURATIVE_ACTIONS
%token TK_DURATIVE_ACTIONS TK_STRIPS TK_EQUALITY TK_NEGATIVE_PRECONDITIONS
%token TK_DEFINE TK_DOMAIN TK_PROBLEM TK_EITHER TK_TYPES TK_PREDICATES TK_FUNCTIONS
%token TK_UNCONTROLLABLE_DURATIVE_ACTION TK_DURATIVE_ACTION
%token TK_PARAMETERS TK_DURATION TK_CONDITION TK_EFFECT TK_DURATION_ANCHOR
%token TK_DOMAIN_REF TK_OBJECTS TK_INIT TK_GOAL TK_METRIC TK_MINIMIZE TK_TOTAL_TIME
%token TK_AT_START TK_AT_END TK_OVER_ALL TK_AT
%token TK_AND TK_OR TK_NOT TK_IMPLIES TK_FALSE TK_TRUE

%type <mark> formal_parameters parameter_names type_names typed_names
%type <mark> expressions conjuncts init_expressions
%type <expression> duration condition effect number expression operation atom init_expression

%start pddl_body

%%

pddl_body
  : %empty
  | pddl_body TK_L_PARENTHESIS TK_DEFINE domain TK_R_PARENTHESIS
  | pddl_body TK_L_PARENTHESIS TK_DEFINE problem TK_R_PARENTHESIS
  ;

domain
  : TK_L_PARENTHESIS TK_DOMAIN TK_IDENTIFIER TK_R_PARENTHESIS domain_body
  ;

domain_body
  : %empty
  | domain_body domain_element
  ;

domain_element
  : TK_L_PARENTHESIS TK_REQUIREMENTS requirements TK_R_PARENTHESIS
  | TK_L_PARENTHESIS TK_TYPES typed_names TK_R_PARENTHESIS      { builder.declare_types($3); }
  | TK_L_PARENTHESIS TK_PREDICATES predicates TK_R_PARENTHESIS
  | TK_L_PARENTHESIS TK_FUNCTIONS functions TK_R_PARENTHESIS
  | TK_L_PARENTHESIS TK_DURATIVE_ACTION TK_IDENTIFIER
    TK_PARAMETERS TK_L_PARENTHESIS formal_parameters TK_R_PARENTHESIS
    duration condition effect TK_R_PARENTHESIS
      { builder.declare_action($3, $6, $8, $9, $10); }
  | TK_L_PARENTHESIS TK_UNCONTROLLABLE_DURATIVE_ACTION TK_IDENTIFIER
    TK_PARAMETERS TK_L_PARENTHESIS formal_parameters TK_R_PARENTHESIS
    duration condition effect TK_R_PARENTHESIS
      { builder.declare_uncontrollable_action($3, $6, $8, $9, $10); }
  ;

/* What an action does not have may be left out. */
duration
  : %empty                                      { $$ = builder.end_part(builder.nothing()); }
  | TK_DURATION expression                      { $$ = builder.end_part($2); }
  ;

condition
  : %empty                                      { $$ = builder.end_part(builder.nothing()); }
  | TK_CONDITION expression                     { $$ = builder.end_part($2); }
  ;

effect
  : %empty                                      { $$ = builder.end_part(builder.nothing()); }
  | TK_EFFECT expression                        { $$ = builder.end_part($2); }
  ;

/* They tell nothing: what a text uses is seen in the text. */
requirements
  : %empty
  | requirements requirement
  ;

requirement
  : TK_TYPING
  | TK_FLUENTS
  | TK_UNCONTROLLABLE_DURATIVE_ACTIONS
  | TK_DURATIVE_ACTIONS
  | TK_STRIPS
  | TK_EQUALITY
  | TK_NEGATIVE_PRECONDITIONS
  ;

predicates
  : %empty
  | predicates TK_L_PARENTHESIS TK_IDENTIFIER formal_parameters TK_R_PARENTHESIS
      { builder.declare_predicate($3, $4); }
  ;

functions
  : %empty
  | functions TK_L_PARENTHESIS TK_IDENTIFIER formal_parameters TK_R_PARENTHESIS
      { builder.declare_function($3, $4); }
  ;

formal_parameters
  : %empty                                      { $$ = builder.parameters_mark(); }
  | formal_parameters parameter_names TK_MINUS TK_IDENTIFIER
      { $$ = $1; builder.declare_parameters($2, $4); }
  | formal_parameters parameter_names TK_MINUS
    TK_L_PARENTHESIS TK_EITHER type_names TK_R_PARENTHESIS
      { $$ = $1; builder.declare_union_parameters($2, $6); }
  ;

parameter_names
  : TK_PARAMETER                                { $$ = builder.push_name($1); }
  | parameter_names TK_PARAMETER                { $$ = $1; builder.push_name($2); }
  ;

type_names
  : %empty                                      { $$ = builder.names_mark(); }
  | type_names TK_IDENTIFIER                    { $$ = $1; builder.push_name($2); }
  ;

/* Names in groups, each with its type; the last group may have none. */
typed_names
  : %empty                                      { $$ = builder.begin_typed_names(); }
  | typed_names TK_IDENTIFIER                   { $$ = $1; builder.push_typed_name($2); }
  | typed_names TK_MINUS TK_IDENTIFIER          { $$ = $1; builder.end_group($3); }
  ;

problem
  : TK_L_PARENTHESIS TK_PROBLEM TK_IDENTIFIER TK_R_PARENTHESIS problem_body
  ;

problem_body
  : %empty
  | problem_body problem_element
  ;

problem_element
  : TK_L_PARENTHESIS TK_DOMAIN_REF TK_IDENTIFIER TK_R_PARENTHESIS
  | TK_L_PARENTHESIS TK_OBJECTS typed_names TK_R_PARENTHESIS    { builder.declare_objects($3); }
  | TK_L_PARENTHESIS TK_INIT init_expressions TK_R_PARENTHESIS  { builder.add_init($3); }
  | TK_L_PARENTHESIS TK_GOAL expression TK_R_PARENTHESIS        { builder.add_goal($3); }
  | TK_L_PARENTHESIS TK_METRIC TK_MINIMIZE
    TK_L_PARENTHESIS TK_TOTAL_TIME TK_R_PARENTHESIS TK_R_PARENTHESIS
  ;

init_expressions
  : %empty                                      { $$ = builder.expressions_mark(); }
  | init_expressions init_expression            { $$ = $1; builder.push_init($2); }
  ;

init_expression
  : expression
  | TK_L_PARENTHESIS TK_AT number expression TK_R_PARENTHESIS
      { $$ = builder.located(builder.at($3, $4), $1); }
  ;

number
  : TK_RATIONAL                                 { $$ = builder.number($1); }
  | TK_NATURAL                                  { $$ = builder.number($1); }
  ;

expressions
  : %empty                                      { $$ = builder.expressions_mark(); }
  | expressions expression                      { $$ = $1; builder.push_expression($2); }
  ;

/* Of a statement, so that each part has its line. */
conjuncts
  : %empty                                      { $$ = builder.expressions_mark(); }
  | conjuncts expression                        { $$ = $1; builder.push_conjunct($2); }
  ;

expression
  : TK_L_PARENTHESIS operation TK_R_PARENTHESIS { $$ = builder.located($2, $1); }
  | atom                                        { $$ = builder.located($1, 0); }
  ;

operation
  : TK_AND conjuncts                            { $$ = builder.conjunction($2); }
  | TK_OR expressions                           { $$ = builder.disjunction($2); }
  | TK_NOT expression                           { $$ = builder.ef().make_not($2); }
  | TK_AT_START expression                      { $$ = builder.at_start($2); }
  | TK_AT_END expression                        { $$ = builder.at_end($2); }
  | TK_OVER_ALL expression                      { $$ = builder.over_all($2); }
  | TK_EQUALS expression expression             { $$ = builder.ef().make_equals($2, $3); }
  | TK_LE expression expression                 { $$ = builder.ef().make_le($2, $3); }
  | TK_GE expression expression                 { $$ = builder.ef().make_ge($2, $3); }
  | TK_LT expression expression                 { $$ = builder.ef().make_lt($2, $3); }
  | TK_GT expression expression                 { $$ = builder.ef().make_gt($2, $3); }
  | TK_PLUS expressions                         { $$ = builder.sum($2); }
  | TK_TIMES expressions                        { $$ = builder.product($2); }
  | TK_MINUS expression expression              { $$ = builder.ef().make_minus($2, $3); }
  | TK_DIV expression expression                { $$ = builder.ef().make_div($2, $3); }
  | TK_IDENTIFIER expressions                   { $$ = builder.application($1, $2); }
  ;

atom
  : TK_TRUE                                     { $$ = builder.ef().make_true(); }
  | TK_FALSE                                    { $$ = builder.ef().make_false(); }
  | TK_PARAMETER                                { $$ = builder.symbol($1); }
  | TK_IDENTIFIER                               { $$ = builder.symbol($1); }
  | TK_DURATION_ANCHOR                          { $$ = builder.ef().make_duration_anchor(); }
  | number
  ;

%%
