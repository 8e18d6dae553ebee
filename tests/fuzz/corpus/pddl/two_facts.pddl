; a problem in front of its domain
(define (problem q) (:domain d) (:objects a b - t) (:init (p a) (= (n) 0)) (:goal (and (p b) (>= (n) 1))))
(define (domain d) (:types t) (:predicates (p ?x - t)) (:functions (n))
 (:durative-action w :parameters (?x - t) :duration (and (>= ?duration 1) (<= ?duration 4))
  :condition (at start (p ?x)) :effect (and (at end (p ?x)) (at end (= (n) (+ (n) 1))))))
