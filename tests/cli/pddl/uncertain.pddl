; How long the train takes is not ours to choose.
;
; RUN: transform -P %s
; STDOUT: (duration :in [30.0, 45.0]);
; RUN: solve -P -a ftp %s
; STDOUT: 0: ride()
; RUN: convert-to --target pddl -P %s
; EXIT: 1
; STDOUT-EMPTY:
; STDERR: InternalError: The problem contains an expression operator kindthat is forbidden!
(define (domain trains)
  (:requirements :uncontrollable-durative-actions)
  (:predicates (home) (away))
  (:uncontrollable-durative-action ride
    :parameters ()
    :duration (and (>= ?duration 30) (<= ?duration 45))
    :condition (at start (home))
    :effect (and (at start (not (home))) (at end (away)))))
(define (problem p) (:domain trains) (:init (home)) (:goal (away)))
