; RUN: solve -P -a ftp %s
; PLAN: none
; STDERR: Note: Read without a value at the start: 'dist(near)' (no step reads such a fluent before it is set).
; RUN: solve -P -a ftp --ftp-search guided %s
; PLAN: none
; STDERR: Note: Read without a value at the start: 'dist(near)'
; RUN: solve -P -H 4 %s
; PLAN: none
; STDERR: Note: Read without a value at the start: 'dist(near)'
(define (domain roads)
  (:types place - object)
  (:predicates (seen ?x - place) (open ?x - place))
  (:functions (dist ?x - place))
  (:durative-action go :parameters (?x - place)
    :duration (= ?duration (dist ?x))
    :condition (and (at start (open ?x)))
    :effect (and (at end (seen ?x)))))
(define (problem one) (:domain roads)
  (:objects near far - place)
  (:init (open near) (open far) (= (dist far) 3))
  (:goal (and (seen near))))
