#tag Class
Protected Class TextStatistics
	#tag Method, Flags = &h0
		Sub Constructor(values As PythonParameters)
		  ' Python gives back a tuple. It is read by index, each item as the type it has.
		  Words = values.IntegerValue(0)
		  DifferentWords = values.IntegerValue(1)
		  AverageLength = values.DoubleValue(2)
		  Hash = values.StringValue(3)
		  FrequentWords = values.StringValue(4)
		  IsPlainAscii = values.BooleanValue(5)
		End Sub
	#tag EndMethod


	#tag Property, Flags = &h0
		Words As Integer
	#tag EndProperty


	#tag Property, Flags = &h0
		DifferentWords As Integer
	#tag EndProperty


	#tag Property, Flags = &h0
		AverageLength As Double
	#tag EndProperty


	#tag Property, Flags = &h0
		Hash As String
	#tag EndProperty


	#tag Property, Flags = &h0
		FrequentWords As String
	#tag EndProperty


	#tag Property, Flags = &h0
		IsPlainAscii As Boolean
	#tag EndProperty


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
