/* Ordax5: an SMT solver for Booleans with linear arithmetic over rationals and integers.
 *
 * Conventions of all calls
 *
 * - Handles are structures of one pointer, passed by value; `repr` is NULL in the failure value.
 *   Types, declarations and terms belong to the environment they came from and live as long as it;
 *   they need no release. Terms are shared: two equal terms have the same `repr`.
 * - A call that fails returns its failure value (a handle with `repr` NULL, -1, or NULL) and keeps
 * a text for `ordax_last_error_message`; the state is as if the call had not been made. A handle
 *   that is itself a failure value makes the call fail and leaves the text of the first failure.
 * - Texts and arrays that a call returns belong to the caller and are released with `ordax_free`,
 *   except the text of `ordax_last_error_message`.
 * - Nothing is thrown through this interface except std::bad_alloc when the memory is exhausted.
 * - Threads may work at the same time in environments of their own; an environment, with its types,
 *   declarations and terms, is used by one thread at a time. The text of a failure without an
 *   environment belongs to the thread.
 * - Building a term costs amortised constant time (about a hundred nanoseconds) unless noted;
 *   `ordax_make_leq` and `ordax_make_equal` on sums cost time in the length of the sums.
 */
#ifndef ORDAX_H_INCLUDED
#define ORDAX_H_INCLUDED

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A set of option texts. */
typedef struct ordax_config {
  void* repr;
} ordax_config;

/* One solver instance. */
typedef struct ordax_env {
  void* repr;
} ordax_env;

/* A type of terms. */
typedef struct ordax_type {
  void* repr;
} ordax_type;

/* A declared symbol. */
typedef struct ordax_decl {
  void* repr;
} ordax_decl;

/* A formula or an arithmetic expression. */
typedef struct ordax_term {
  void* repr;
} ordax_term;

/* A walk over the values of a model. */
typedef struct ordax_model_iterator {
  void* repr;
} ordax_model_iterator;

/* An objective of an optimizing environment (not built). */
typedef struct ordax_objective {
  void* repr;
} ordax_objective;

/* The answer of a check. */
typedef int ordax_result;
#define ORDAX_UNKNOWN (-1)
#define ORDAX_UNSAT 0
#define ORDAX_SAT 1
/* A check that one of the options limits.conflicts, limits.cpu_time and limits.memory has ended;
 * the assertions are as they were, and a further check begins anew with the full limits. The text
 * of ordax_last_error_message says which. */
#define ORDAX_LIMIT (-2)

/* Whether a handle is the failure value. */
#define ORDAX_FAILED(handle) ((handle).repr == NULL)

/* ---------------------------------------------------------------- general */

/* The version that this header belongs to, to be compared by the preprocessor. */
#define ORDAX_VERSION_MAJOR 5
#define ORDAX_VERSION_MINOR 0
#define ORDAX_VERSION_PATCH 0
#define ORDAX_VERSION \
  (ORDAX_VERSION_MAJOR * 10000 + ORDAX_VERSION_MINOR * 100 + ORDAX_VERSION_PATCH)

/* Name and version of the library, as a static text. Never fails. */
const char* ordax_version(void);

/* Releases a text or an array that a call returned; NULL is accepted. */
void ordax_free(void* memory);

/* The text of the last call that failed in this environment, "" if none has. For a failed
 * environment (`repr` NULL): the text of the last failure of any call in the process, so that
 * failures of `ordax_set_option` and `ordax_create_env` can be read. The text belongs to the
 * library and is valid until the next call that fails. */
const char* ordax_last_error_message(ordax_env env);

/* ---------------------------------------------------------------- configuration */

/* A configuration with all defaults. Fails never. Release: `ordax_destroy_config`. */
ordax_config ordax_create_config(void);

/* A configuration read from a text with one "name = value" per line; empty lines and lines that
 * begin with '#' are skipped. Fails for an unknown name and for a bad value. */
ordax_config ordax_parse_config(const char* text);

/* Records an option. The form "no_NAME" of a Boolean option stands for the opposite value. Returns
 * 0, or -1 for an unknown name or an empty one. The value is checked by `ordax_create_env`. */
int ordax_set_option(ordax_config config, const char* name, const char* value);

/* The list of all options with their kinds and defaults. To be freed. */
char* ordax_option_help(void);

/* Releases a configuration; environments made from it stay. A failed handle is accepted. */
void ordax_destroy_config(ordax_config config);

/* ---------------------------------------------------------------- environments */

/* A new environment with the options of `config`, which is only read. Fails for a bad option value
 * and for an option that asks for a feature that is not built; the text names it. Costs some tens
 * of microseconds. Release: `ordax_destroy_env`. */
ordax_env ordax_create_env(ordax_config config);

/* Releases an environment with all its types, declarations and terms. A failed handle is accepted.
 */
void ordax_destroy_env(ordax_env env);

/* Forgets all assertions and backtrack points; declarations and terms stay. 0 or -1. */
int ordax_reset_env(ordax_env env);

/* Sets a test that a running check calls often: a value other than 0 stops the check, which then
 * answers -1 with the text "user-requested termination". NULL takes the test away. `data` is passed
 * through. The next check starts afresh and answers as if the stopped one had not been. 0 or -1. */
int ordax_set_termination_test(ordax_env env, int (*test)(void* data), void* data);

/* The counts of the engines since they were made, one "key = value" a line: conflicts, decisions,
 * pivots and so on. To be freed. Fails never; a failed environment gives NULL. */
char* ordax_statistics(ordax_env env);

/* ---------------------------------------------------------------- types */

ordax_type ordax_get_bool_type(ordax_env env);
ordax_type ordax_get_rational_type(ordax_env env);
/* Integers are a subtype of the rationals: an integer term may stand where a rational one may. */
ordax_type ordax_get_integer_type(ordax_env env);

/* An uninterpreted type of that name, the same one for the same name; "Bool", "Real" and "Int" are
 * the built-in types. Fails for an empty name. */
ordax_type ordax_get_simple_type(ordax_env env, const char* name);

/* The type of functions from `count` argument types to `result`. Fails for function types among
 * them, and for Bool among the arguments unless the option `allow_bool_function_args` is set. */
ordax_type ordax_get_function_type(ordax_env env, const ordax_type* arguments, size_t count,
                                   ordax_type result);

/* Bit-vector and array types are not built: these calls fail. */
ordax_type ordax_get_bv_type(ordax_env env, size_t width);
ordax_type ordax_get_array_type(ordax_env env, ordax_type index, ordax_type element);

/* ---------------------------------------------------------------- declarations and terms */

/* Creates the symbol, or returns the one of that name if it has the same type. Fails for another
 * type, an empty name, and a name that starts with a backquote. */
ordax_decl ordax_declare_function(ordax_env env, const char* name, ordax_type type);

/* The term of a symbol without arguments. Fails for a symbol of a function type, and for a name
 * that starts with a digit. */
ordax_term ordax_make_constant(ordax_env env, ordax_decl decl);

/* An application of a function symbol. The term can be built, but a check of a formula that holds
 * it fails: equality with uninterpreted functions is not built. */
ordax_term ordax_make_function(ordax_env env, ordax_decl decl, const ordax_term* arguments,
                               size_t count);

ordax_term ordax_make_true(ordax_env env);
ordax_term ordax_make_false(ordax_env env);
/* Fail for arguments that are not Boolean. */
ordax_term ordax_make_not(ordax_env env, ordax_term a);
ordax_term ordax_make_and(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_or(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_iff(ordax_env env, ordax_term a, ordax_term b);

/* a = b over two terms of related types. Fails for Boolean arguments with the text "Equality
 * arguments can't be Boolean"; that failure is cheap, so callers may try and fall back on
 * `ordax_make_iff`. */
ordax_term ordax_make_equal(ordax_env env, ordax_term a, ordax_term b);
/* a <= b over two arithmetic terms. Equivalent atoms that differ by scale or arrangement are one
 * term; over integers the result may be a negated atom or a Boolean constant. */
ordax_term ordax_make_leq(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_plus(ordax_env env, ordax_term a, ordax_term b);
/* The product. A product of two terms that are not numerals can be built, but not checked. */
ordax_term ordax_make_times(ordax_env env, ordax_term a, ordax_term b);
/* The quotient as a rational. A divisor other than a non-zero numeral can be built, not checked. */
ordax_term ordax_make_divide(ordax_env env, ordax_term a, ordax_term b);
/* The largest integer that is at most `a`. */
ordax_term ordax_make_floor(ordax_env env, ordax_term a);
/* A numeral from a text: an integer, a fraction "p/q" or a decimal, with an optional minus. There
 * is a digit on each side of a point, and q is positive. Exponents ("1.5e3"), a plus sign, blanks
 * and fractions of decimals are refused. */
ordax_term ordax_make_number(ordax_env env, const char* text);
/* If-then-else over two terms of related types. Fails for Boolean branches with the text "Term-ITE
 * arguments can't be Boolean"; that failure is cheap. */
ordax_term ordax_make_term_ite(ordax_env env, ordax_term condition, ordax_term then_term,
                               ordax_term else_term);
/* Whether the integer terms a and b differ by a multiple of the integer numeral text `modulus`. */
ordax_term ordax_make_int_modular_congruence(ordax_env env, const char* modulus, ordax_term a,
                                             ordax_term b);

/* Powers and transcendental functions, arrays, bit-vectors and floating point are not built: these
 * calls fail with a text that names the missing feature. */
ordax_term ordax_make_pow(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_exp(ordax_env env, ordax_term a);
ordax_term ordax_make_sin(ordax_env env, ordax_term a);
ordax_term ordax_make_log(ordax_env env, ordax_term a);
ordax_term ordax_make_asin(ordax_env env, ordax_term a);
ordax_term ordax_make_array_read(ordax_env env, ordax_term array, ordax_term index);
ordax_term ordax_make_array_write(ordax_env env, ordax_term array, ordax_term index,
                                  ordax_term element);
ordax_term ordax_make_array_const(ordax_env env, ordax_type type, ordax_term element);
ordax_term ordax_make_bv_number(ordax_env env, const char* text, size_t width, size_t base);
ordax_term ordax_make_bv_not(ordax_env env, ordax_term a);
ordax_term ordax_make_bv_and(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_or(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_xor(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_concat(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_extract(ordax_env env, size_t high, size_t low, ordax_term a);
ordax_term ordax_make_bv_plus(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_minus(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_times(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_uleq(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_bv_sleq(ordax_env env, ordax_term a, ordax_term b);
ordax_term ordax_make_fp_number(ordax_env env, const char* text, size_t exponent_width,
                                size_t mantissa_width);
ordax_term ordax_make_fp_plus(ordax_env env, ordax_term rounding, ordax_term a, ordax_term b);
ordax_term ordax_make_fp_times(ordax_env env, ordax_term rounding, ordax_term a, ordax_term b);
ordax_term ordax_make_fp_leq(ordax_env env, ordax_term a, ordax_term b);

/* Tests on a term: 1, 0, or -1 for a bad handle. */
int ordax_term_is_true(ordax_env env, ordax_term term);
int ordax_term_is_false(ordax_env env, ordax_term term);
int ordax_term_is_number(ordax_env env, ordax_term term);

/* The type of a term. */
ordax_type ordax_term_get_type(ordax_env env, ordax_term term);

/* The term's text in SMT-LIB v2, symbols quoted where that is needed, to be freed; a numeral is an
 * integer or a fraction "p/q" in lowest terms. NULL for a failed handle. The length is linear in
 * the number of distinct subterms. */
char* ordax_term_repr(ordax_term term);

/* The number of a term in order of creation, from 1; 0 for a failed handle. */
size_t ordax_term_id(ordax_term term);

/* ---------------------------------------------------------------- assertions and checks */

/* Pushes a Boolean term on the assertion stack; the work is done by the next check. 0 or -1. */
int ordax_assert_formula(ordax_env env, ordax_term formula);

/* Opens a backtrack point. 0 or -1. */
int ordax_push_backtrack_point(ordax_env env);

/* Takes back the assertions since the last backtrack point. Fails if there is none. 0 or -1. */
int ordax_pop_backtrack_point(ordax_env env);

/* Checks the assertions: 1 satisfiable, 0 unsatisfiable, -1 unknown or failed. Assertions that hold
 * what is not built (nonlinear terms, function applications) make the check fail; after they are
 * popped, the next check answers. */
ordax_result ordax_solve(ordax_env env);

/* The same under Boolean terms that hold for this check only. */
ordax_result ordax_solve_with_assumptions(ordax_env env, const ordax_term* assumptions,
                                          size_t count);

/* After `ordax_solve_with_assumptions` has answered 0: assumptions that contradict the assertions.
 * The array has `*count` elements and is to be freed (also when empty). NULL on failure. */
ordax_term* ordax_get_unsat_assumptions(ordax_env env, size_t* count);

/* After an answer of 0, with the option `unsat_core_generation` 3: assertions that contradict one
 * another and the assumptions, in the order of assertion. As above. */
ordax_term* ordax_get_unsat_core(ordax_env env, size_t* count);

/* Enumerates the assignments of `count` Boolean constants that can be extended to a model. For
 * each, `on_model` gets one literal per constant (fewer with the option
 * `dpll.allsat_minimize_model`), valid during the call; a return value of 0 stops the enumeration.
 * With `dpll.allsat_allow_duplicates` an assignment comes once for each one of the other Boolean
 * constants of the assertions. What `on_model` asserts stays and binds the rest; it must
 * not push, pop or reset. For the rest the assertion stack is as before. Returns the number of
 * assignments reported, or -1. */
int ordax_all_sat(ordax_env env, const ordax_term* important, size_t count,
                  int (*on_model)(const ordax_term* literals, size_t count, void* data),
                  void* data);

/* ---------------------------------------------------------------- models */

/* The value of any term after an answer of 1, with the option `model_generation`: `true`, `false`
 * or a numeral. What the assertions do not constrain reads as false or 0. With
 * `bool_model_generation` alone only Booleans have values. The first call evaluates the assertions
 * as a check of the model; a value costs time in the size of the term. Fails without a model: after
 * an answer other than 1, and after an assertion, push or pop. */
ordax_term ordax_get_model_value(ordax_env env, ordax_term term);

/* A walk over the declared constants that occur in the assertions, with their values in the current
 * model, in order of declaration. The values are taken now. Fails without a model. Release:
 * `ordax_destroy_model_iterator`, before the environment goes. */
ordax_model_iterator ordax_create_model_iterator(ordax_env env);
/* 1 or 0, -1 for a failed handle. */
int ordax_model_iterator_has_next(ordax_model_iterator iterator);
/* Stores the next constant and its value. 0, or -1 at the end. */
int ordax_model_iterator_next(ordax_model_iterator iterator, ordax_term* term, ordax_term* value);
void ordax_destroy_model_iterator(ordax_model_iterator iterator);

/* ---------------------------------------------------------------- interpolation and optimization
 */

/* Not built: these calls fail. */
int ordax_create_itp_group(ordax_env env);
int ordax_set_itp_group(ordax_env env, int group);
ordax_term ordax_get_interpolant(ordax_env env, const int* groups, size_t count);

ordax_env ordax_create_opt_env(ordax_config config);
ordax_objective ordax_make_minimize(ordax_env env, ordax_term term);
ordax_objective ordax_make_maximize(ordax_env env, ordax_term term);
ordax_objective ordax_make_minmax(ordax_env env, const ordax_term* terms, size_t count);
ordax_objective ordax_make_maxmin(ordax_env env, const ordax_term* terms, size_t count);
int ordax_assert_objective(ordax_env env, ordax_objective objective);
void ordax_destroy_objective(ordax_env env, ordax_objective objective);
int ordax_assert_soft_formula(ordax_env env, ordax_term formula, ordax_term weight, const char* id);
int ordax_load_objective_model(ordax_env env, ordax_objective objective);

#ifdef __cplusplus
}
#endif

#endif
