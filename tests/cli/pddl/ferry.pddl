; The ferry runs while the tide is high, which is known beforehand.
;
; RUN: solve -P -a ftp %s
; PLAN: valid -P %s
; STDOUT: cross
; RUN: solve -P -a smt %s
; PLAN: valid -P %s
; RUN: convert-to --target pddl -P %s
; EXIT: 1
; STDOUT-EMPTY:
; STDERR: InternalError: Not-start assigns are forbidden!
(define (domain ferry)
  (:types place)
  (:predicates (high-tide) (ferry-at ?p - place))
  (:durative-action cross
    :parameters (?from ?to - place)
    :duration (= ?duration 4)
    :condition (and (at start (ferry-at ?from)) (over all (high-tide)) (at start (not (= ?from ?to))))
    :effect (and (at start (not (ferry-at ?from))) (at end (ferry-at ?to)))))
(define (problem over)
  (:domain ferry)
  (:objects island harbour - place)
  (:init (ferry-at island) (at 10 (high-tide)) (at 16.5 (not (high-tide))))
  (:goal (ferry-at harbour)))
